#ifndef VHDX_HOST_METADATA_ENTRY_H
#define VHDX_HOST_METADATA_ENTRY_H

/// The metadata table's entries, and what the format wants of each whatever its item says.

#include <array>
#include <cstdint>
#include <span>
#include <string>

#include "host/check_finding.h"

namespace NVHDXHost {

inline constexpr std::size_t MetadataEntrySize = 32;  ///< also of the table's header

enum EItem { fileParameters, diskSize, page83, logicalSector, physicalSector, locator, itemCount };

struct CKnownItem {
    const char* guid;
    const char* name;
    std::uint32_t length;  ///< bytes; 0: any
    std::uint32_t flags;   ///< that its entry must have
};

/// By `EItem`.
extern const std::array<CKnownItem, itemCount> KnownItems;

/// One entry, where it lies in the file, and what it is called.
struct CMetadataEntry {
    const unsigned char* bytes;
    std::uint64_t position;
    const CKnownItem* known;  ///< null when the format does not know the item
    std::string name;

    CMetadataEntry(const unsigned char* entry, std::uint64_t place);

    [[nodiscard]] std::uint32_t Flags() const;
    [[nodiscard]] bool IsRequired() const;
    /// From the start of the region.
    [[nodiscard]] CFilePlace Place() const;
};

/// Checks the reserved fields of the table's header, which lies at `position`.
void CheckMetadataHeader(std::span<const unsigned char> header, std::uint64_t position,
                         const CFindingSink& findings);

/// Checks the flags and the reserved bits of an entry.
void CheckMetadataEntry(const CMetadataEntry& entry, const CFindingSink& findings);

}  // namespace NVHDXHost

#endif
