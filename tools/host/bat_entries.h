#ifndef VHDX_HOST_BAT_ENTRIES_H
#define VHDX_HOST_BAT_ENTRIES_H

#include <algorithm>
#include <string>
#include <vector>

#include "host/little_endian.h"
#include "host/metadata_check.h"

namespace NVHDXHost {

/// One entry of the block allocation table, with its meaning.
struct CBatEntry {
    static constexpr std::uint64_t Mebibyte = 1048576;
    enum EState : unsigned { notPresent = 0, fullyPresent = 6, partiallyPresent = 7 };

    bool isBitmap = false;
    std::uint64_t index = 0;     ///< of the payload block, or of the chunk whose bitmap it is
    std::uint64_t position = 0;  ///< of the entry itself in the file, in bytes
    std::uint64_t word = 0;

    [[nodiscard]] unsigned State() const { return static_cast<unsigned>(word & 7); }
    [[nodiscard]] std::uint64_t FirstMebibyte() const { return word >> 20; }
    [[nodiscard]] std::uint64_t ReservedBits() const { return word >> 3 & 0x1FFFF; }
    [[nodiscard]] bool HasData() const {
        return State() == fullyPresent || (!isBitmap && State() == partiallyPresent);
    }
    [[nodiscard]] std::uint64_t Mebibytes(const CCheckedGeometry& geometry) const {
        return isBitmap ? 1 : geometry.blockSize / Mebibyte;
    }
    [[nodiscard]] std::string Name() const {
        return Sentence(isBitmap ? "the sector bitmap of chunk " : "block ", index);
    }
};

/// Hands over the first `count` entries of the table, the empty ones too. False when the file ends
/// before.
template <class TReport>
bool ForEachBatEntry(CByteStream& stream, std::uint64_t begin, std::uint64_t count,
                     const CCheckedGeometry& geometry, TReport report) {
    std::vector<unsigned char> piece(65536);
    const std::uint64_t group = geometry.ChunkRatio() + 1;
    for (std::uint64_t first = 0; first < count; first += piece.size() / 8) {
        const std::uint64_t here = std::min<std::uint64_t>(piece.size() / 8, count - first);
        const std::uint64_t position = begin + 8 * first;
        if (!ReadAt(stream, position, std::span(piece).first(static_cast<std::size_t>(here * 8)))) {
            return false;
        }
        for (std::uint64_t at = 0; at < here; ++at) {
            const std::uint64_t chunk = (first + at) / group;
            const std::uint64_t inGroup = (first + at) % group;
            const bool isBitmap = inGroup + 1 == group;
            report(CBatEntry{isBitmap, isBitmap ? chunk : chunk * (group - 1) + inGroup,
                             position + 8 * at, Load64(piece.data() + 8 * at)});
        }
    }
    return true;
}

}  // namespace NVHDXHost

#endif
