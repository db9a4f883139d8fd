#include <cstddef>
#include <memory>
#include <optional>
#include <utility>

#include <vhdx_parser/accessor.h>

#include "vhdx_parser/blocks/bat_geometry.h"
#include "vhdx_parser/blocks/bat_walk.h"
#include "vhdx_parser/blocks/units.h"
#include "vhdx_parser/foundation/positioned_transfer.h"
#include "vhdx_parser/foundation/trace.h"

namespace NVHDX {

namespace {

using CTable = std::unique_ptr<unsigned char[]>;

/// The geometry from the disk's metadata items; the rest of the parameters as they start.
std::optional<CFileParameters> ReadGeometry(const CAccessor& accessor,
                                            std::basic_istream<unsigned char>& stream) {
    NMetadata::CLogicalSectorSize sectorSize;
    NMetadata::CFileParameters fileParameters;
    NMetadata::CVirtualDiskSize diskSize;
    if (!accessor.Retrieve(sectorSize, stream) || !accessor.Retrieve(fileParameters, stream) ||
        !accessor.Retrieve(diskSize, stream)) {
        return std::nullopt;
    }
    CFileParameters params;
    params.payloadblksz = fileParameters.blockSize;
    params.logsectsz = sectorSize.sectorSize;
    params.virtdisksz = diskSize.size;
    params.bDifferencing = fileParameters.hasParent;
    return params;
}

/// Reads the table in one piece. A table that claims more than the file has must not cost its claim
/// in memory, so a large one is compared with the file's size first.
CTable ReadTable(std::basic_istream<unsigned char>& stream, std::uint64_t position,
                 std::uint32_t size) {
    if (!NStreamPortion::SeekInput(stream, position)) {
        return nullptr;
    }
    NDebugTrace::Trace(NDebugTrace::levelInformation, "----------Payload blocks----------");
    if (!NStreamPortion::MayHold(stream, position, size)) {
        return nullptr;
    }
    CTable table(new unsigned char[size]);
    return NStreamPortion::ReadBlock(stream, table.get(), size) ? std::move(table) : nullptr;
}

}  // namespace

bool CAccessor::LoadBlocks(CBlocks& blocks, CFileParameters& params,
                           std::basic_istream<unsigned char>& stream) const {
    std::optional<CFileParameters> loaded = ReadGeometry(*this, stream);
    if (!loaded) {
        return false;
    }
    const std::uint32_t ratio = ChunkRatio(loaded->logsectsz, loaded->payloadblksz);
    if (ratio == 0) {
        return false;
    }
    TraceChunkRatio(ratio);
    const std::optional<std::uint32_t> size = TableSize(*loaded);
    const CRegion& region = GetRegion(CRegion::typeBAT);
    if (!size || *size > region.length) {
        return false;
    }
    const CTable table = ReadTable(stream, region.offset, *size);
    if (table == nullptr) {
        return false;
    }
    CBATWalk walk({table.get(), *size / BATEntrySize}, ratio, loaded->bDifferencing);
    if (!walk.Run()) {
        return false;
    }
    blocks.chunks = std::move(walk.Chunks());
    blocks.ratio = ratio;
    loaded->maxFileOffset = BytesFromMebibytes(walk.LargestOffset()) + loaded->payloadblksz;
    loaded->lastPayloadBlockIndex = walk.LargestOffsetIndex();
    params = *loaded;
    return true;
}

}  // namespace NVHDX
