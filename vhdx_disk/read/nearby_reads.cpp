#include "vhdx_disk/read/nearby_reads.h"

#include <algorithm>
#include <tuple>

namespace NVHDXDisk {

namespace {

/// Longer pieces are read straight into their place: copying them would cost more than the call.
constexpr std::uint64_t LongestCopied = 65536;
/// To read over a longer gap would cost more than the call.
constexpr std::uint64_t LongestGap = 16384;
constexpr std::uint64_t LongestWindow = 1048576;

}  // namespace

void CNearbyReads::Add(std::size_t file, std::uint64_t position, std::span<unsigned char> bytes) {
    m_pieces.push_back({file, position, bytes});
}

bool CNearbyReads::Read(const CReadFile& readFile) {
    std::sort(m_pieces.begin(), m_pieces.end(), [](const CPiece& one, const CPiece& other) {
        return std::tie(one.file, one.position) < std::tie(other.file, other.position);
    });
    for (CPieces rest = m_pieces; !rest.empty();) {
        const std::size_t count = CountTogether(rest);
        if (!ReadTogether(rest.first(count), readFile)) {
            return false;
        }
        rest = rest.subspan(count);
    }
    return true;
}

/// How many of the pieces are best read at once.
std::size_t CNearbyReads::CountTogether(CPieces pieces) {
    const CPiece& first = pieces.front();
    std::size_t count = 1;
    while (count < pieces.size() && pieces[count - 1].bytes.size() <= LongestCopied) {
        const CPiece& next = pieces[count];
        const std::uint64_t end = pieces[count - 1].End();
        // Pieces overlap where a damaged file names one place twice.
        const bool isNear =
            next.file == first.file && next.position >= end && next.position - end <= LongestGap;
        if (!isNear || next.bytes.size() > LongestCopied ||
            next.End() - first.position > LongestWindow) {
            break;
        }
        ++count;
    }
    return count;
}

bool CNearbyReads::ReadTogether(CPieces pieces, const CReadFile& readFile) {
    const CPiece& first = pieces.front();
    if (pieces.size() == 1) {
        return readFile(first.file, first.position, first.bytes);
    }
    m_window.resize(LongestWindow);
    const std::span<unsigned char> window =
        std::span(m_window).first(static_cast<std::size_t>(pieces.back().End() - first.position));
    if (!readFile(first.file, first.position, window)) {
        return false;
    }
    for (const CPiece& piece : pieces) {
        const auto bytes = window.subspan(static_cast<std::size_t>(piece.position - first.position),
                                          piece.bytes.size());
        std::copy(bytes.begin(), bytes.end(), piece.bytes.begin());
    }
    return true;
}

}  // namespace NVHDXDisk
