#include <cstdint>

#include <vhdx_parser/accessor.h>

#include "vhdx_parser/container/format.h"
#include "vhdx_parser/foundation/positioned_transfer.h"
#include "vhdx_parser/foundation/trace.h"

namespace NVHDX {

namespace {

/// A sector size has 32 bits on disk, and only the low 16 are kept, deliberately: `logsectsz` of
/// the block model has no more.
std::uint16_t KeptSectorSize(const NFormat::VHDX_SECTOR_SIZE& payload) {
    return static_cast<std::uint16_t>(payload.SectorSize.Value());
}

}  // namespace

bool CAccessor::ReadRequiredItem(CMetadata::EType type, const char* tag,
                                 std::basic_istream<unsigned char>& stream, void* payload,
                                 std::uint64_t size) const {
    std::streampos position;
    if (!MetadataPosition(nullptr, stream, position, type)) {
        NDebugTrace::Trace(NDebugTrace::levelFailure, tag, "bad MetadataPosition");
        return false;
    }
    if (!NStreamPortion::ReadBlock(stream, payload, size)) {
        NDebugTrace::Trace(NDebugTrace::levelFailure, tag, "failed Stream Portion Reading");
        return false;
    }
    return true;
}

bool CAccessor::Retrieve(NMetadata::CFileParameters& parameters,
                         std::basic_istream<unsigned char>& stream) const {
    NFormat::VHDX_FILE_PARAMETERS payload;
    if (!ReadRequiredItem(CMetadata::typeFileParameters, "FILE_PARAMETERS_METADATA ", stream,
                          &payload, sizeof(payload))) {
        return false;
    }
    const std::uint32_t flags = payload.Flags.Value();
    parameters.blockSize = payload.BlockSize.Value();
    parameters.leaveBlocksAllocated =
        (flags & NFormat::VHDX_FILE_PARAMETERS::LeaveBlocksAllocatedBit) != 0;
    parameters.hasParent = (flags & NFormat::VHDX_FILE_PARAMETERS::HasParentBit) != 0;
    return true;
}

bool CAccessor::Retrieve(NMetadata::CVirtualDiskSize& diskSize,
                         std::basic_istream<unsigned char>& stream) const {
    NFormat::VHDX_VIRTUAL_DISK_SIZE payload;
    if (!ReadRequiredItem(CMetadata::typeVirtualDiskSize, "VIRTUAL_DISK_SIZE_METADATA ", stream,
                          &payload, sizeof(payload))) {
        return false;
    }
    diskSize.size = payload.VirtualDiskSize.Value();
    return true;
}

bool CAccessor::Retrieve(NMetadata::CPage83Data& page83Data,
                         std::basic_istream<unsigned char>& stream) const {
    NFormat::VHDX_PAGE83_DATA payload;
    if (!ReadRequiredItem(CMetadata::typePage83Data, "PAGE_83_DATA_METADATA ", stream, &payload,
                          sizeof(payload))) {
        return false;
    }
    _GUID read = payload.Page83Data.Value();
    Move(page83Data.page83Data, read);
    return true;
}

bool CAccessor::Retrieve(NMetadata::CLogicalSectorSize& sectorSize,
                         std::basic_istream<unsigned char>& stream) const {
    NFormat::VHDX_SECTOR_SIZE payload;
    if (!ReadRequiredItem(CMetadata::typeLogicalSectorSize, "LOGICAL_SECTOR_SIZE_METADATA ", stream,
                          &payload, sizeof(payload))) {
        return false;
    }
    sectorSize.sectorSize = KeptSectorSize(payload);
    return true;
}

bool CAccessor::Retrieve(NMetadata::CPhysicalSectorSize& sectorSize,
                         std::basic_istream<unsigned char>& stream) const {
    NFormat::VHDX_SECTOR_SIZE payload;
    if (!ReadRequiredItem(CMetadata::typePhysicalSectorSize, "PHYSICAL_SECTOR_SIZE_METADATA ",
                          stream, &payload, sizeof(payload))) {
        return false;
    }
    sectorSize.sectorSize = KeptSectorSize(payload);
    return true;
}

}  // namespace NVHDX
