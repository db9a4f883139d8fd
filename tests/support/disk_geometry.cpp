#include "tests/support/disk_geometry.h"

namespace NTest {
namespace {

std::uint64_t DivideRoundingUp(std::uint64_t value, std::uint64_t divisor) {
    return divisor == 0 ? 0 : value / divisor + (value % divisor != 0 ? 1 : 0);
}

}  // namespace

std::uint64_t CDiskGeometry::ChunkRatio() const {
    return blockSize == 0 ? 0 : (std::uint64_t{sectorSize} << 23) / blockSize;
}

std::uint64_t CDiskGeometry::DataBlocks() const {
    return DivideRoundingUp(virtualSize, blockSize);
}

std::uint64_t CDiskGeometry::Chunks() const {
    return DivideRoundingUp(DataBlocks(), ChunkRatio());
}

std::uint64_t CDiskGeometry::EntryCount() const {
    if (Chunks() == 0) {
        return 0;
    }
    return differencing ? (ChunkRatio() + 1) * Chunks() : DataBlocks() + Chunks() - 1;
}

std::uint64_t CDiskGeometry::PayloadEntry(std::uint64_t block) const {
    return ChunkRatio() == 0 ? block : block + block / ChunkRatio();
}

std::uint64_t CDiskGeometry::SectorBitmapEntry(std::uint64_t chunk) const {
    return chunk * (ChunkRatio() + 1) + ChunkRatio();
}

}  // namespace NTest
