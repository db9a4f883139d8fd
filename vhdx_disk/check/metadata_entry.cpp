#include "vhdx_disk/check/metadata_entry.h"

#include <span>

#include "vhdx_parser/foundation/guid_text.h"

namespace NVHDXDisk {

namespace {

using namespace NVHDX::NFormat;

constexpr std::uint32_t AllFlags = VHDX_METADATA_TABLE_ENTRY::IsUserBit |
                                   VHDX_METADATA_TABLE_ENTRY::IsVirtualDiskBit |
                                   VHDX_METADATA_TABLE_ENTRY::IsRequiredBit;

void CheckReserved(std::span<const unsigned char> field, std::uint64_t position,
                   const CFindingSink& findings) {
    if (const auto set = FirstSetByte(field)) {
        findings.Add(EFinding::metadataReserved, AtOffset(position + *set),
                     "a reserved field of the metadata table's header is not 0");
    }
}

}  // namespace

CMetadataEntry::CMetadataEntry(const VHDX_METADATA_TABLE_ENTRY& entry, std::uint64_t place)
    : record(entry), position(place), known(FindItem(entry.ItemId.Value())) {
    name = known == nullptr ? "the item " + NGuidText::TextOf(entry.ItemId.Value()) : known->name;
}

bool CMetadataEntry::IsRequired() const {
    return (record.Flags.Value() & VHDX_METADATA_TABLE_ENTRY::IsRequiredBit) != 0;
}

CFilePlace CMetadataEntry::Place() const {
    return {name, record.Offset.Value(), record.Length.Value()};
}

void CheckMetadataHeader(const VHDX_METADATA_TABLE_HEADER& header, std::uint64_t position,
                         const CFindingSink& findings) {
    CheckReserved(header.Reserved.bytes, position + offsetof(VHDX_METADATA_TABLE_HEADER, Reserved),
                  findings);
    CheckReserved(header.Reserved2, position + offsetof(VHDX_METADATA_TABLE_HEADER, Reserved2),
                  findings);
}

void CheckMetadataEntry(const CMetadataEntry& entry, const CFindingSink& findings) {
    const std::uint32_t flags = entry.record.Flags.Value() & AllFlags;
    const std::uint64_t flagsPosition = entry.position + offsetof(VHDX_METADATA_TABLE_ENTRY, Flags);
    if (entry.known != nullptr && flags != entry.known->flags) {
        findings.Add(
            EFinding::itemFlags, AtOffset(flagsPosition),
            Sentence(entry.name, " has the flags ", flags, " and must have ", entry.known->flags,
                     " (1: of a user, 2: of the virtual disk, 4: required)"));
    }
    if (entry.record.Flags.Value() != flags) {
        findings.Add(EFinding::itemReserved, AtOffset(flagsPosition),
                     entry.name + ": the reserved bits 3 to 31 of its flags are not 0");
    }
    if (entry.record.Reserved.Value() != 0) {
        findings.Add(EFinding::itemReserved,
                     AtOffset(entry.position + offsetof(VHDX_METADATA_TABLE_ENTRY, Reserved)),
                     entry.name + ": the reserved field of its entry is not 0");
    }
}

}  // namespace NVHDXDisk
