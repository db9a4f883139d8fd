#ifndef VHDX_HOST_CHECK_FINDING_H
#define VHDX_HOST_CHECK_FINDING_H

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <utility>

namespace NVHDXHost {

/// Something in a disk file or a folder that is not as the format wants it.
struct CCheckFinding {
    std::filesystem::path file;
    std::string where;  ///< the place: a position in the file, a block, a chunk
    std::string kind;   ///< the same word for the same trouble, for programs
    std::string text;   ///< what is wrong, and what it means
};

using CFindingCallback = std::function<void(const CCheckFinding&)>;

/// Hands on the findings of one file as they come; keeps none.
class CFindingSink {
public:
    CFindingSink(std::filesystem::path file, const CFindingCallback& report)
        : m_file(std::move(file)), m_report(report) {}

    void Add(std::string kind, std::string where, std::string text) const {
        m_report({m_file, std::move(where), std::move(kind), std::move(text)});
    }

private:
    std::filesystem::path m_file;
    const CFindingCallback& m_report;
};

/// A part of the file that belongs to one thing.
struct CFilePlace {
    std::string name;  ///< "the log", "the block allocation table", ...
    std::uint64_t begin = 0;
    std::uint64_t length = 0;

    /// Exact also where begin and length together have no 64-bit number.
    [[nodiscard]] bool IsInside(std::uint64_t size) const {
        return begin <= size && length <= size - begin;
    }
    [[nodiscard]] bool Holds(std::uint64_t position) const {
        return position >= begin && position - begin < length;
    }
};

/// The parts one behind the other, numbers in decimal digits.
template <class... TParts>
std::string Sentence(const TParts&... parts) {
    std::ostringstream text;
    (text << ... << parts);
    return text.str();
}

inline std::string AtOffset(std::uint64_t position) {
    return Sentence("offset ", position);
}

/// The place of the first byte that is not 0 in a field of `bytes`; none when all are.
inline std::optional<std::size_t> FirstSetByte(std::span<const unsigned char> bytes,
                                               std::size_t field, std::size_t length) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(field);
    const auto end = begin + static_cast<std::ptrdiff_t>(length);
    const auto found = std::find_if(begin, end, [](unsigned char byte) { return byte != 0; });
    return found == end ? std::nullopt
                        : std::optional(static_cast<std::size_t>(found - bytes.begin()));
}

}  // namespace NVHDXHost

#endif
