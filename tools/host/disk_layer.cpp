#include "host/disk_layer.h"

#include <vhdx_parser/accessor.h>

#include "host/container_entry.h"
#include "host/current_header.h"
#include "host/disk_geometry.h"
#include "host/locator_path.h"

namespace NVHDXHost {

namespace {

using NVHDX::CAccessor;

constexpr std::uint64_t SectorsPerChunk = 8388608;

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

bool Load(CReplayStream& stream, CDiskLayer& layer, std::string& error) {
    CAccessor accessor;
    CGeometry geometry;
    if (!OpenContainer(accessor, stream, error) ||
        !ReadGeometry(accessor, stream, geometry, error)) {
        return false;
    }
    NVHDX::CBlocks blocks;
    if (!accessor.LoadBlocks(blocks, layer.parameters, stream)) {
        error = NoBlockTable;
        return false;
    }
    layer.blocks = CBlockMap(blocks, layer.parameters, stream.Size());
    ReadDiskId(accessor, stream, layer);
    error = WhyNoParentLocator(accessor, stream, layer);
    return error.empty();
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
    if (!Load(stream, layer, error)) {
        error = Quoted(path) + ": " + error;
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
