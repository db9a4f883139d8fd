#include "vhdx_disk/source/system_file.h"

#include <algorithm>

namespace NVHDXDisk {

namespace {

/// No system reads more than this at once.
constexpr std::size_t LargestPiece = std::size_t{1} << 30;

}  // namespace

bool CSystemFile::ReadAt(std::uint64_t position, unsigned char* bytes, std::size_t count,
                         int& error) const {
    while (count != 0) {
        error = 0;
        const std::int64_t got = ReadSome(position, bytes, std::min(count, LargestPiece), error);
        if (got <= 0) {
            return false;
        }
        position += static_cast<std::uint64_t>(got);
        bytes += got;
        count -= static_cast<std::size_t>(got);
    }
    return true;
}

}  // namespace NVHDXDisk
