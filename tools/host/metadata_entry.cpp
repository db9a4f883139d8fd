#include "host/metadata_entry.h"

#include <algorithm>
#include <utility>

#include "host/little_endian.h"
#include "host/parent_linkage.h"

namespace NVHDXHost {

namespace {

constexpr std::size_t FlagsField = 24;
constexpr std::size_t ReservedField = 28;
enum EFlags : std::uint32_t { isVirtualDisk = 2, isRequired = 4, allFlags = 7 };

const CKnownItem* FindKnown(const std::string& guid) {
    const auto known = std::find_if(KnownItems.begin(), KnownItems.end(),
                                    [&](const CKnownItem& one) { return guid == one.guid; });
    return known == KnownItems.end() ? nullptr : &*known;
}

}  // namespace

constexpr std::array<CKnownItem, itemCount> KnownItems = {{
    {"{CAA16737-FA36-4D43-B3B6-33F0AA44E76B}", "the file parameters", 8, isRequired},
    {"{2FA54224-CD1B-4876-B211-5DBED83BF4B8}", "the virtual disk size", 8,
     isVirtualDisk | isRequired},
    {"{BECA12AB-B2E6-4523-93EF-C309E000C746}", "the page 83 identifier", 16,
     isVirtualDisk | isRequired},
    {"{8141BF1D-A96F-4709-BA47-F233A8FAAB5F}", "the logical sector size", 4,
     isVirtualDisk | isRequired},
    {"{CDA348C7-445D-4471-9CC9-E9885251C556}", "the physical sector size", 4,
     isVirtualDisk | isRequired},
    {"{A8D35F2D-B30B-454D-ABF7-D3D84834AB0C}", "the parent locator", 0, isRequired},
}};

CMetadataEntry::CMetadataEntry(const unsigned char* entry, std::uint64_t place)
    : bytes(entry), position(place) {
    const std::string guid = TextOf(LoadGuid(bytes));
    known = FindKnown(guid);
    name = known == nullptr ? "the item " + guid : known->name;
}

std::uint32_t CMetadataEntry::Flags() const {
    return Load32(bytes + FlagsField);
}

bool CMetadataEntry::IsRequired() const {
    return (Flags() & isRequired) != 0;
}

CFilePlace CMetadataEntry::Place() const {
    return {name, Load32(bytes + 16), Load32(bytes + 20)};
}

void CheckMetadataHeader(std::span<const unsigned char> header, std::uint64_t position,
                         const CFindingSink& findings) {
    for (const auto& [field, length] : {std::pair<std::size_t, std::size_t>{8, 2}, {12, 20}}) {
        if (const auto set = FirstSetByte(header, field, length)) {
            findings.Add("metadata-reserved", AtOffset(position + *set),
                         "a reserved field of the metadata table's header is not 0");
        }
    }
}

void CheckMetadataEntry(const CMetadataEntry& entry, const CFindingSink& findings) {
    const std::uint32_t flags = entry.Flags() & allFlags;
    if (entry.known != nullptr && flags != entry.known->flags) {
        findings.Add(
            "item-flags", AtOffset(entry.position + FlagsField),
            Sentence(entry.name, " has the flags ", flags, " and must have ", entry.known->flags,
                     " (1: of a user, 2: of the virtual disk, 4: required)"));
    }
    if (entry.Flags() != flags) {
        findings.Add("item-reserved", AtOffset(entry.position + FlagsField),
                     entry.name + ": the reserved bits 3 to 31 of its flags are not 0");
    }
    if (Load32(entry.bytes + ReservedField) != 0) {
        findings.Add("item-reserved", AtOffset(entry.position + ReservedField),
                     entry.name + ": the reserved field of its entry is not 0");
    }
}

}  // namespace NVHDXHost
