#ifndef VHDX_PARSER_TESTS_CHAIN_NAIVE_LINKING_H
#define VHDX_PARSER_TESTS_CHAIN_NAIVE_LINKING_H

/// The linking of disks into chains, step by step and with no thought for speed.

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace NTest {

/// One disk by its name; `parent` is absent for a base disk.
struct CDiskName {
    std::string name;
    std::optional<std::string> parent;
};

inline CDiskName Base(std::string name) {
    return {std::move(name), std::nullopt};
}
inline CDiskName Child(std::string name, std::string parent) {
    return {std::move(name), std::move(parent)};
}

/// Positions in the list of disks, from base to tip.
using CNaiveChain = std::vector<std::size_t>;

inline std::vector<std::size_t> NaiveWithoutParent(const std::vector<CDiskName>& disks) {
    std::vector<std::size_t> orphans;
    for (std::size_t i = 0; i < disks.size(); ++i) {
        bool found = !disks[i].parent;
        for (std::size_t j = 0; j < disks.size() && !found; ++j) {
            found = j != i && disks[j].name == *disks[i].parent;
        }
        if (!found) {
            orphans.push_back(i);
        }
    }
    return orphans;
}

inline bool NaiveEveryParentIsPresent(const std::vector<CDiskName>& disks) {
    return NaiveWithoutParent(disks).empty();
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

    /// As far as the passes attached something.
    const std::vector<CNaiveChain>& Chains() const { return m_chains; }

    std::vector<std::size_t> Unattached() const {
        std::vector<std::size_t> left;
        for (std::size_t i = 0; i < m_disks.size(); ++i) {
            if (m_present[i]) {
                left.push_back(i);
            }
        }
        return left;
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

/// Every list of `count` disks that uses these names.
template <class TVisit>
void VisitAllLists(const std::vector<std::string>& names, std::size_t count,
                   std::vector<CDiskName>& disks, const TVisit& visit) {
    if (disks.size() == count) {
        visit(disks);
        return;
    }
    for (const std::string& name : names) {
        for (std::size_t parent = 0; parent <= names.size(); ++parent) {
            disks.push_back(parent == 0 ? Base(name) : Child(name, names[parent - 1]));
            VisitAllLists(names, count, disks, visit);
            disks.pop_back();
        }
    }
}

/// Every list of up to three disks with three names, and of four disks with two.
template <class TVisit>
void VisitListsOfUpToFourDisks(const TVisit& visit) {
    std::vector<CDiskName> disks;
    for (std::size_t count = 0; count <= 3; ++count) {
        VisitAllLists({"a", "b", "c"}, count, disks, visit);
    }
    VisitAllLists({"a", "b"}, 4, disks, visit);
}

}  // namespace NTest

#endif
