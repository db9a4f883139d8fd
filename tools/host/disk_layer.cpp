#include "host/disk_layer.h"

#include <bit>

#include <vhdx_parser/accessor.h>

#include "host/container_entry.h"
#include "host/current_header.h"
#include "host/locator_path.h"

namespace NVHDXHost {

namespace {

using NVHDX::CAccessor;

constexpr std::uint64_t SectorsPerChunk = 8388608;
constexpr std::uint64_t SmallestBlock = 1048576;
constexpr std::uint64_t LargestBlock = 256 * SmallestBlock;
constexpr std::uint64_t LargestDisk = 64 * SmallestBlock * SmallestBlock;

/// Why the stream on a disk file is of no use; empty when it is.
std::string WhyNotOpen(const CReplayStream& stream) {
    if (!stream.IsOpen()) {
        return "the file cannot be opened";
    }
    return stream.Result().status == CReplayResult::unreadable ? stream.Result().error : "";
}

/// The geometry, checked before the table that it makes room for is loaded.
std::string WhyNoGeometry(const CAccessor& accessor, CByteStream& stream) {
    NVHDX::NMetadata::CFileParameters file;
    NVHDX::NMetadata::CVirtualDiskSize size;
    NVHDX::NMetadata::CLogicalSectorSize sector;
    if (!accessor.Retrieve(file, stream) || !accessor.Retrieve(size, stream) ||
        !accessor.Retrieve(sector, stream)) {
        return "the disk's parameters cannot be read";
    }
    if (!std::has_single_bit(file.blockSize) || file.blockSize < SmallestBlock ||
        file.blockSize > LargestBlock) {
        return "no disk can have blocks of " + std::to_string(file.blockSize) + " bytes";
    }
    if (sector.sectorSize != 512 && sector.sectorSize != 4096) {
        return "no disk can have sectors of " + std::to_string(sector.sectorSize) + " bytes";
    }
    if (size.size == 0 || size.size > LargestDisk) {
        return "no disk can have " + std::to_string(size.size) + " bytes";
    }
    return {};
}

std::string WhyNoContainer(CAccessor& accessor, CReplayStream& stream) {
    if (ClaimsTooManyRegions(stream)) {
        return TooManyRegions;
    }
    if (!accessor.Entry(stream)) {
        return "the file is not a valid VHDX container";
    }
    // Only now: what is no container at all should be called so.
    return stream.Result().status == CReplayResult::noHeader ? stream.Result().error : "";
}

void ReadDiskId(const CAccessor& accessor, CByteStream& stream, CDiskLayer& layer) {
    NVHDX::NMetadata::CPage83Data page83;
    stream.clear();
    if (accessor.Retrieve(page83, stream)) {
        layer.diskId = page83.page83Data;
    }
    stream.clear();
}

std::string WhyNoParentLocator(const CAccessor& accessor, CByteStream& stream, CDiskLayer& layer) {
    if (!layer.HasParent()) {
        return {};
    }
    return accessor.Retrieve(layer.locator, stream) && layer.locator.present
               ? ""
               : "the disk has a parent, and its parent locator cannot be read";
}

std::string WhyNotLoaded(CReplayStream& stream, CDiskLayer& layer) {
    CAccessor accessor;
    NVHDX::CBlocks blocks;
    if (auto reason = WhyNotOpen(stream); !reason.empty()) {
        return reason;
    }
    if (auto reason = WhyNoContainer(accessor, stream); !reason.empty()) {
        return reason;
    }
    if (auto reason = WhyNoGeometry(accessor, stream); !reason.empty()) {
        return reason;
    }
    if (!accessor.LoadBlocks(blocks, layer.parameters, stream)) {
        return "the block allocation table cannot be loaded";
    }
    layer.blocks = CBlockMap(blocks, layer.parameters, stream.Size());
    ReadDiskId(accessor, stream, layer);
    return WhyNoParentLocator(accessor, stream, layer);
}

}  // namespace

std::uint64_t CDiskLayer::ChunkSize() const {
    return SectorsPerChunk * parameters.logsectsz;
}

bool LoadLayer(const std::filesystem::path& path, CReplayStream::EMode mode, CDiskLayer& layer,
               std::string& error) {
    CReplayStream stream(path, mode);
    layer = {};
    layer.path = path;
    if (const std::string reason = WhyNotLoaded(stream, layer); !reason.empty()) {
        error = Quoted(path) + ": " + reason;
        return false;
    }
    layer.replay = stream.Result();
    layer.overlay = stream.Overlay();
    layer.fileSize = stream.FileSize();
    if (const auto header = ReadCurrentHeader(stream)) {
        layer.dataWriteGuid = header->dataWriteGuid;
    }
    return true;
}

}  // namespace NVHDXHost
