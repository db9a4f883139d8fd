#include "vhdx_disk/table/sector_bits.h"

#include <algorithm>
#include <bit>

#include "vhdx_parser/foundation/little_endian.h"

namespace NVHDXDisk {

namespace {

/// The word that holds a bit; what the bitmap lacks behind its end are zeros.
std::uint64_t WordAt(std::span<const unsigned char> bitmap, std::uint64_t word) {
    const auto start = static_cast<std::size_t>(word * 8);
    if (bitmap.size() - start >= 8) {
        return LoadLittleEndian<std::uint64_t>(bitmap.data() + start);
    }
    unsigned char bytes[8] = {};
    std::copy(bitmap.begin() + static_cast<std::ptrdiff_t>(start), bitmap.end(), bytes);
    return LoadLittleEndian<std::uint64_t>(bytes);
}

}  // namespace

std::uint64_t EndOfRun(std::span<const unsigned char> bitmap, std::uint64_t sector,
                       std::uint64_t end) {
    const std::uint64_t inverted = IsSectorPresent(bitmap, sector) ? ~std::uint64_t{0} : 0;
    std::uint64_t at = sector;
    while (at < end) {
        // Set bits are those that differ from the run's.
        const std::uint64_t differing = (WordAt(bitmap, at / 64) ^ inverted) >> (at % 64);
        if (differing != 0) {
            return std::min(end, at + static_cast<std::uint64_t>(std::countr_zero(differing)));
        }
        at += 64 - at % 64;
    }
    return end;
}

}  // namespace NVHDXDisk
