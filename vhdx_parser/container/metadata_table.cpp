#include "vhdx_parser/container/metadata_table.h"

#include <optional>

#include "vhdx_parser/container/format.h"
#include "vhdx_parser/container/identifiers.h"
#include "vhdx_parser/foundation/positioned_transfer.h"
#include "vhdx_parser/foundation/trace.h"

namespace NVHDX {

using NDebugTrace::Trace;
using NFormat::VHDX_METADATA_TABLE_ENTRY;
using NFormat::VHDX_METADATA_TABLE_HEADER;
using CMetadata = CAccessor::CMetadata;

namespace {

/// No type for an unknown item, which is not traced either.
std::optional<CMetadata::EType> Classify(const _GUID& itemId) {
    const NFormat::CKnownItem* const known = NFormat::FindItem(itemId);
    if (known == nullptr) {
        return std::nullopt;
    }
    Trace(NDebugTrace::levelInformation, "METADATA_REGION ", "type = CMetadata::", known->typeName);
    return known->type;
}

bool ReadTableHeader(std::basic_istream<unsigned char>& stream, std::uint64_t regionOffset,
                     VHDX_METADATA_TABLE_HEADER& header) {
    if (!NStreamPortion::SeekInput(stream, regionOffset)) {
        Trace(NDebugTrace::levelFailure, "METADATA_REGION ", "bad position");
        return false;
    }
    if (!NStreamPortion::ReadBlock(stream, &header, sizeof(header))) {
        Trace(NDebugTrace::levelFailure, "METADATA_REGION ", "failed Stream Portion Reading");
        return false;
    }
    if (header.Signature.Value() != VHDX_METADATA_TABLE_HEADER::ExpectedSignature) {
        Trace(NDebugTrace::levelFailure, "METADATA_REGION ", "bad Signature");
        return false;
    }
    return true;
}

bool KeepItem(const VHDX_METADATA_TABLE_ENTRY& entry,
              std::map<CMetadata::EType, CMetadata>& items) {
    const std::uint32_t flags = entry.Flags.Value();
    if (const auto type = Classify(entry.ItemId.Value())) {
        const bool isVirtualDisk = (flags & VHDX_METADATA_TABLE_ENTRY::IsVirtualDiskBit) != 0;
        items.try_emplace(
            *type, CMetadata{*type, entry.Offset.Value(), entry.Length.Value(), isVirtualDisk});
        return true;
    }
    if ((flags & VHDX_METADATA_TABLE_ENTRY::IsRequiredBit) != 0) {
        Trace(NDebugTrace::levelFailure, "METADATA_REGION ", "Required != 0");
        return false;
    }
    return true;
}

}  // namespace

bool ReadMetadataTable(std::basic_istream<unsigned char>& stream, std::uint64_t regionOffset,
                       std::map<CMetadata::EType, CMetadata>& items) {
    VHDX_METADATA_TABLE_HEADER header;
    if (!ReadTableHeader(stream, regionOffset, header)) {
        return false;
    }
    // At most 65,535 entries: the count has 16 bits.
    const std::uint16_t entryCount = header.EntryCount.Value();
    for (std::uint32_t i = 0; i < entryCount; ++i) {
        VHDX_METADATA_TABLE_ENTRY entry;
        if (!NStreamPortion::ReadBlock(stream, &entry, sizeof(entry))) {
            // The text of a failed seek, deliberately.
            Trace(NDebugTrace::levelFailure, "METADATA_REGION ", "bad position");
            return false;
        }
        if (!KeepItem(entry, items)) {
            return false;
        }
    }
    return true;
}

}  // namespace NVHDX
