#include "vhdx_parser/container/region_table.h"

#include "vhdx_parser/container/format.h"
#include "vhdx_parser/container/identifiers.h"
#include "vhdx_parser/foundation/stream_portion.h"
#include "vhdx_parser/foundation/trace.h"

namespace NVHDX {

using NDebugTrace::Trace;
using NFormat::VHDX_REGION_TABLE_ENTRY;
using NFormat::VHDX_REGION_TABLE_HEADER;
using CTableContainer = NStreamPortion::CDynamicContainer<VHDX_REGION_TABLE_HEADER>;
using CRegion = CAccessor::CRegion;

namespace {

/// Takes the first header or fails: a bad first copy ends the search without a look at the second,
/// deliberately.
NStreamPortion::CStep<VHDX_REGION_TABLE_HEADER> TakeFirst(CTableContainer& table) {
    return [&table](bool& goOn, CTableContainer& candidate) {
        const std::uint32_t signature = candidate.data->Signature.Value();
        if (signature != VHDX_REGION_TABLE_HEADER::ExpectedSignature) {
            Trace(NDebugTrace::levelInformation, "REG_TBL_HDR ", "Bad Signature = ", signature);
            return false;
        }
        table.data = std::move(candidate.data);
        goOn = false;
        return true;
    };
}

bool FindRegionTable(std::basic_istream<unsigned char>& stream, CTableContainer& table) {
    if (!NStreamPortion::IteratePositions<VHDX_REGION_TABLE_HEADER>(
            {VHDX_REGION_TABLE_HEADER::FirstPosition, VHDX_REGION_TABLE_HEADER::SecondPosition},
            stream, TakeFirst(table))) {
        Trace(NDebugTrace::levelFailure, "REG_TBL_HDR ", "not iteration");
        return false;
    }
    if (table.data == nullptr) {
        Trace(NDebugTrace::levelFailure, "REG_TBL_HDR ", "reg hdr tabel not actual");
        return false;
    }
    return true;
}

CRegion::EType Classify(const _GUID& guid) {
    if (const NFormat::CKnownRegion* const known = NFormat::FindRegion(guid)) {
        Trace(NDebugTrace::levelInformation, "MAP_REGION ", "type = CRegion::", known->typeName);
        return known->type;
    }
    Trace(NDebugTrace::levelInformation, "MAP_REGION ",
          "type = ", static_cast<std::int32_t>(CRegion::typeUnknown));
    return CRegion::typeUnknown;
}

bool KeepRegion(const VHDX_REGION_TABLE_ENTRY& entry, std::map<CRegion::EType, CRegion>& regions) {
    const CRegion::EType type = Classify(entry.Guid.Value());
    if (type != CRegion::typeUnknown) {
        regions.try_emplace(type, CRegion{type, entry.FileOffset.Value(), entry.Length.Value()});
        return true;
    }
    if ((entry.Required.Value() & VHDX_REGION_TABLE_ENTRY::RequiredBit) != 0) {
        Trace(NDebugTrace::levelFailure, "MAP_REGION ", "Required != 0");
        return false;
    }
    return true;
}

/// The stream stands behind the table's header. The count is the file's claim and has no bound of
/// its own; the loop ends at the latest where the file ends.
bool ReadEntries(std::basic_istream<unsigned char>& stream, std::uint32_t entryCount,
                 std::map<CRegion::EType, CRegion>& regions) {
    for (std::uint32_t i = 0; i < entryCount; ++i) {
        VHDX_REGION_TABLE_ENTRY entry;
        if (!NStreamPortion::ReadBlock(stream, &entry, sizeof(entry))) {
            Trace(NDebugTrace::levelFailure, "MAP_REGION ", "failed Stream Portion Reading");
            return false;
        }
        if (!KeepRegion(entry, regions)) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool ReadRegionTable(std::basic_istream<unsigned char>& stream,
                     std::map<CRegion::EType, CRegion>& regions) {
    CTableContainer table;
    if (!FindRegionTable(stream, table) ||
        !ReadEntries(stream, table.data->EntryCount.Value(), regions)) {
        return false;
    }
    if (regions.size() < 2) {
        Trace(NDebugTrace::levelFailure, "MAP_REGION ", "size < 2");
        return false;
    }
    return true;
}

}  // namespace NVHDX
