#ifndef VHDX_PARSER_TESTS_SUPPORT_DISK_GEOMETRY_H
#define VHDX_PARSER_TESTS_SUPPORT_DISK_GEOMETRY_H

/// The arithmetic of the block allocation table, straight from the description of the format.

#include <cstdint>

namespace NTest {

struct CDiskGeometry {
    std::uint32_t blockSize = 1048576;
    std::uint32_t sectorSize = 512;
    std::uint64_t virtualSize = 16777216;
    bool differencing = false;

    /// Payload blocks per sector bitmap; 0 for a geometry that has no meaning.
    std::uint64_t ChunkRatio() const;
    std::uint64_t DataBlocks() const;
    std::uint64_t Chunks() const;

    /// Entries of the table: a disk without parent ends with its last payload block, one with a
    /// parent with a whole group.
    std::uint64_t EntryCount() const;

    std::uint64_t PayloadEntry(std::uint64_t block) const;
    std::uint64_t SectorBitmapEntry(std::uint64_t chunk) const;
};

}  // namespace NTest

#endif
