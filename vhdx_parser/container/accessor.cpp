#include <vhdx_parser/accessor.h>

#include "vhdx_parser/container/file_identifier.h"
#include "vhdx_parser/container/header_choice.h"
#include "vhdx_parser/container/log_trace.h"
#include "vhdx_parser/container/metadata_table.h"
#include "vhdx_parser/container/region_table.h"
#include "vhdx_parser/foundation/positioned_transfer.h"
#include "vhdx_parser/foundation/trace.h"

namespace NVHDX {

namespace {

/// The current header is needed for its log only and released right after.
bool ReadHeaderAndLog(std::basic_istream<unsigned char>& stream) {
    NStreamPortion::CDynamicContainer<NFormat::VHDX_HEADER> header;
    return SelectCurrentHeader(stream, header) && TraceLog(stream, *header.data);
}

}  // namespace

CAccessor::CAccessor() = default;

CAccessor::~CAccessor() = default;

void CAccessor::Clear() {
    m_regions.clear();
    m_metadata.clear();
}

bool CAccessor::Entry(std::basic_istream<unsigned char>& stream) {
    if (!CheckFileIdentifier(stream) || !ReadHeaderAndLog(stream) ||
        !ReadRegionTable(stream, m_regions) ||
        !ReadMetadataTable(stream, GetRegion(CRegion::typeMetadata).offset, m_metadata)) {
        return false;
    }
    NDebugTrace::Trace(NDebugTrace::levelInformation, "OK");
    return true;
}

/// A region that is not there has no bytes: requests that ask for it all the same, on an accessor
/// that never opened, find a table of length 0 and fail.
const CAccessor::CRegion& CAccessor::GetRegion(CRegion::EType type) const {
    static const CRegion absent;
    const auto region = m_regions.find(type);
    return region == m_regions.end() ? absent : region->second;
}

bool CAccessor::MetadataPosition(bool* found, std::basic_istream<unsigned char>& stream,
                                 std::streampos& position, CMetadata::EType type) const {
    const auto item = m_metadata.find(type);
    if (item == m_metadata.end()) {
        return found != nullptr;
    }
    const auto region = m_regions.find(CRegion::typeMetadata);
    if (region == m_regions.end()) {
        return false;
    }
    if (found != nullptr) {
        *found = true;
    }
    const std::uint64_t offset = region->second.offset + item->second.offset;
    position = std::streampos(static_cast<std::streamoff>(offset));
    return NStreamPortion::SeekInput(stream, offset);
}

}  // namespace NVHDX
