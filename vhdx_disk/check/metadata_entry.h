#ifndef VHDX_DISK_CHECK_METADATA_ENTRY_H
#define VHDX_DISK_CHECK_METADATA_ENTRY_H

/// The metadata table's entries, and what the format wants of each whatever its item says.

#include <cstdint>
#include <string>

#include "vhdx_disk/check/finding_sink.h"
#include "vhdx_parser/container/format.h"
#include "vhdx_parser/container/identifiers.h"

namespace NVHDXDisk {

/// One entry, where it lies in the file, and what it is called.
struct CMetadataEntry {
    NVHDX::NFormat::VHDX_METADATA_TABLE_ENTRY record;
    std::uint64_t position;
    const NVHDX::NFormat::CKnownItem* known;  ///< null when the format does not know the item
    std::string name;

    CMetadataEntry(const NVHDX::NFormat::VHDX_METADATA_TABLE_ENTRY& entry, std::uint64_t place);

    [[nodiscard]] bool IsRequired() const;
    /// From the start of the region.
    [[nodiscard]] CFilePlace Place() const;
};

/// Checks the reserved fields of the table's header, which lies at `position`.
void CheckMetadataHeader(const NVHDX::NFormat::VHDX_METADATA_TABLE_HEADER& header,
                         std::uint64_t position, const CFindingSink& findings);

/// Checks the flags and the reserved bits of an entry.
void CheckMetadataEntry(const CMetadataEntry& entry, const CFindingSink& findings);

}  // namespace NVHDXDisk

#endif
