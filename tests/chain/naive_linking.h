#ifndef VHDX_PARSER_TESTS_CHAIN_NAIVE_LINKING_H
#define VHDX_PARSER_TESTS_CHAIN_NAIVE_LINKING_H

/// The linking of disks into chains, step by step and with no thought for speed.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace NTest {

/// One disk by its name; `parent` is absent for a base disk.
struct CDiskName {
    std::string name;
    std::optional<std::string> parent;
};

/// Positions in the list of disks, from base to tip.
using CNaiveChain = std::vector<std::size_t>;

inline bool NaiveEveryParentIsPresent(const std::vector<CDiskName>& disks) {
    for (std::size_t i = 0; i < disks.size(); ++i) {
        bool found = !disks[i].parent;
        for (std::size_t j = 0; j < disks.size() && !found; ++j) {
            found = j != i && disks[j].name == *disks[i].parent;
        }
        if (!found) {
            return false;
        }
    }
    return true;
}

class CNaiveLinking {
public:
    explicit CNaiveLinking(const std::vector<CDiskName>& disks)
        : m_disks(disks), m_present(disks.size(), true) {}

    /// Absent when a pass through all chains attaches nothing though disks are left: the next pass
    /// would do the same, and so for ever.
    std::optional<std::vector<CNaiveChain>> Link() {
        for (std::size_t i = 0; i < m_disks.size(); ++i) {
            if (!m_disks[i].parent) {
                m_chains.push_back({Take(i)});
            }
        }
        while (m_left != 0) {
            if (!AttachOne()) {
                return std::nullopt;
            }
        }
        return m_chains;
    }

private:
    std::size_t Take(std::size_t position) {
        m_present[position] = false;
        --m_left;
        return position;
    }

    /// One pass, which ends with the first disk that it attaches.
    bool AttachOne() {
        for (CNaiveChain& chain : m_chains) {
            for (std::size_t i = 0; i < m_disks.size(); ++i) {
                if (m_present[i] && m_disks[i].parent == m_disks[chain.back()].name) {
                    chain.push_back(Take(i));
                    return true;
                }
            }
        }
        return false;
    }

    const std::vector<CDiskName>& m_disks;
    std::vector<bool> m_present;
    std::size_t m_left = m_disks.size();
    std::vector<CNaiveChain> m_chains;
};

}  // namespace NTest

#endif
