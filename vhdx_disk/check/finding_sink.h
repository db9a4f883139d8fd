#ifndef VHDX_DISK_CHECK_FINDING_SINK_H
#define VHDX_DISK_CHECK_FINDING_SINK_H

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <utility>

#include <vhdx_disk/finding.h>

#include "vhdx_disk/chain/finding_kinds.h"

namespace NVHDXDisk {

/// Hands on the findings of one file as they come; keeps none.
class CFindingSink {
public:
    CFindingSink(std::filesystem::path file, const CFindingCallback& report)
        : m_file(std::move(file)), m_report(report) {}

    void Add(EFinding kind, const std::string& place, const std::string& text) const {
        m_report(MakeFinding(m_file, place, kind, text));
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

/// The index of the first byte that is not 0; none when all are.
inline std::optional<std::size_t> FirstSetByte(std::span<const unsigned char> bytes) {
    const auto found =
        std::find_if(bytes.begin(), bytes.end(), [](unsigned char byte) { return byte != 0; });
    return found == bytes.end() ? std::nullopt
                                : std::optional(static_cast<std::size_t>(found - bytes.begin()));
}

}  // namespace NVHDXDisk

#endif
