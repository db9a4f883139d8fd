#include <string>

#include <vhdx_disk/block_table.h>

#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/source/source_buffer.h"
#include "vhdx_parser/blocks/geometry.h"

namespace NVHDXDisk {

namespace {

std::string ReadItems(const NVHDX::CAccessor& accessor, std::basic_istream<unsigned char>& stream,
                      CGeometry& geometry) {
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
    if (!NVHDX::IsBlockSize(geometry.blockSize)) {
        return "no disk can have blocks of " + std::to_string(geometry.blockSize) + " bytes";
    }
    if (!NVHDX::IsSectorSize(geometry.logicalSectorSize)) {
        return "no disk can have sectors of " + std::to_string(geometry.logicalSectorSize) +
               " bytes";
    }
    if (!NVHDX::IsDiskSize(geometry.virtualSize)) {
        return "no disk can have " + std::to_string(geometry.virtualSize) + " bytes";
    }
    return {};
}

}  // namespace

bool ReadGeometry(const NVHDX::CAccessor& accessor, std::basic_istream<unsigned char>& stream,
                  const std::filesystem::path& file, CGeometry& geometry, CFailure& failure) {
    std::string reason = ReadItems(accessor, stream, geometry);
    if (reason.empty()) {
        reason = WhyImpossible(geometry);
    }
    if (!reason.empty()) {
        return FailBecause(CSourceBuffer::RefusalOf(stream), failure, CFailure::damaged, file,
                           reason);
    }
    geometry.ratio = NVHDX::ChunkRatio(geometry.logicalSectorSize, geometry.blockSize);
    return true;
}

}  // namespace NVHDXDisk
