#include "host/disk_geometry.h"

#include <bit>

namespace NVHDXHost {

namespace {

constexpr std::uint64_t SectorsPerChunk = 8388608;
constexpr std::uint64_t SmallestBlock = 1048576;
constexpr std::uint64_t LargestBlock = 256 * SmallestBlock;
constexpr std::uint64_t LargestDisk = 64 * SmallestBlock * SmallestBlock;

std::string ReadItems(const NVHDX::CAccessor& accessor, CByteStream& stream, CGeometry& geometry) {
    NVHDX::NMetadata::CFileParameters file;
    NVHDX::NMetadata::CVirtualDiskSize size;
    NVHDX::NMetadata::CLogicalSectorSize sector;
    if (!accessor.Retrieve(file, stream)) {
        return "the metadata have no file parameters that can be read";
    }
    if (!accessor.Retrieve(size, stream)) {
        return "the metadata have no size of the virtual disk that can be read";
    }
    if (!accessor.Retrieve(sector, stream)) {
        return "the metadata have no logical sector size that can be read";
    }
    geometry = {file.blockSize, sector.sectorSize, size.size, 0, file.hasParent};
    return {};
}

std::string WhyImpossible(const CGeometry& geometry) {
    if (!std::has_single_bit(geometry.blockSize) || geometry.blockSize < SmallestBlock ||
        geometry.blockSize > LargestBlock) {
        return "no disk can have blocks of " + std::to_string(geometry.blockSize) + " bytes";
    }
    if (geometry.sectorSize != 512 && geometry.sectorSize != 4096) {
        return "no disk can have sectors of " + std::to_string(geometry.sectorSize) + " bytes";
    }
    if (geometry.virtualSize == 0 || geometry.virtualSize > LargestDisk) {
        return "no disk can have " + std::to_string(geometry.virtualSize) + " bytes";
    }
    return {};
}

}  // namespace

bool ReadGeometry(const NVHDX::CAccessor& accessor, CByteStream& stream, CGeometry& geometry,
                  std::string& error) {
    error = ReadItems(accessor, stream, geometry);
    if (error.empty()) {
        error = WhyImpossible(geometry);
    }
    if (!error.empty()) {
        return false;
    }
    geometry.ratio = geometry.sectorSize * SectorsPerChunk / geometry.blockSize;
    return true;
}

}  // namespace NVHDXHost
