#ifndef VHDX_PARSER_CONTAINER_IDENTIFIERS_H
#define VHDX_PARSER_CONTAINER_IDENTIFIERS_H

/// What tells regions, metadata items, parent locator types and their keys apart, and what the
/// format says of each of them.

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

#include <vhdx_parser/accessor.h>
#include <vhdx_parser/guid.h>
#include <vhdx_parser/metadata.h>

#include "vhdx_parser/container/format.h"

namespace NVHDX {
namespace NFormat {

struct CKnownRegion {
    _GUID id;
    CAccessor::CRegion::EType type;
    const char* typeName;
    const char* name;  ///< for people
};

inline constexpr CKnownRegion KnownRegions[] = {
    {{0x2DC27766, 0xF623, 0x4200, {0x9D, 0x64, 0x11, 0x5E, 0x9B, 0xFD, 0x4A, 0x08}},
     CAccessor::CRegion::typeBAT,
     "typeBAT",
     "the block allocation table"},
    {{0x8B7CA206, 0x4790, 0x4B9A, {0xB8, 0xFE, 0x57, 0x5F, 0x05, 0x0F, 0x88, 0x6E}},
     CAccessor::CRegion::typeMetadata,
     "typeMetadata",
     "the metadata region"},
};

struct CKnownItem {
    _GUID id;
    CAccessor::CMetadata::EType type;
    std::uint32_t length;  ///< bytes; 0: any
    const char* typeName;
    const char* name;     ///< for people
    std::uint32_t flags;  ///< that its entry must have, bits of `VHDX_METADATA_TABLE_ENTRY`
    bool inEveryDisk;
};

/// Of an item that describes the virtual disk, and that no reader may do without.
inline constexpr std::uint32_t RequiredOfVirtualDisk =
    VHDX_METADATA_TABLE_ENTRY::IsVirtualDiskBit | VHDX_METADATA_TABLE_ENTRY::IsRequiredBit;

inline constexpr CKnownItem KnownItems[] = {
    {{0xCAA16737, 0xFA36, 0x4D43, {0xB3, 0xB6, 0x33, 0xF0, 0xAA, 0x44, 0xE7, 0x6B}},
     CAccessor::CMetadata::typeFileParameters,
     sizeof(VHDX_FILE_PARAMETERS),
     "typeFileParameters",
     "the file parameters",
     VHDX_METADATA_TABLE_ENTRY::IsRequiredBit,
     true},
    {{0x2FA54224, 0xCD1B, 0x4876, {0xB2, 0x11, 0x5D, 0xBE, 0xD8, 0x3B, 0xF4, 0xB8}},
     CAccessor::CMetadata::typeVirtualDiskSize,
     sizeof(VHDX_VIRTUAL_DISK_SIZE),
     "typeVirtualDiskSize",
     "the virtual disk size",
     RequiredOfVirtualDisk,
     true},
    {{0xBECA12AB, 0xB2E6, 0x4523, {0x93, 0xEF, 0xC3, 0x09, 0xE0, 0x00, 0xC7, 0x46}},
     CAccessor::CMetadata::typePage83Data,
     sizeof(VHDX_PAGE83_DATA),
     "typePage83Data",
     "the page 83 identifier",
     RequiredOfVirtualDisk,
     true},
    {{0x8141BF1D, 0xA96F, 0x4709, {0xBA, 0x47, 0xF2, 0x33, 0xA8, 0xFA, 0xAB, 0x5F}},
     CAccessor::CMetadata::typeLogicalSectorSize,
     sizeof(VHDX_SECTOR_SIZE),
     "typeLogicalSectorSize",
     "the logical sector size",
     RequiredOfVirtualDisk,
     true},
    {{0xCDA348C7, 0x445D, 0x4471, {0x9C, 0xC9, 0xE9, 0x88, 0x52, 0x51, 0xC5, 0x56}},
     CAccessor::CMetadata::typePhysicalSectorSize,
     sizeof(VHDX_SECTOR_SIZE),
     "typePhysicalSectorSize",
     "the physical sector size",
     RequiredOfVirtualDisk,
     true},
    {{0xA8D35F2D, 0xB30B, 0x454D, {0xAB, 0xF7, 0xD3, 0xD8, 0x48, 0x34, 0xAB, 0x0C}},
     CAccessor::CMetadata::typeParentLocator,
     0,
     "typeParentLocator",
     "the parent locator",
     VHDX_METADATA_TABLE_ENTRY::IsRequiredBit,
     false},
};

inline constexpr _GUID VHDXParentLocatorType = {
    0xB04AEFB7, 0xD19E, 0x4A81, {0xB7, 0x89, 0x25, 0xB8, 0xE9, 0x44, 0x59, 0x13}};

/// A key of a parent locator of that type, letter for letter.
struct CKnownKey {
    std::string_view key;
    NMetadata::CParent::EFormat format;
    const char* formatName;
};

/// No two keys have the same length, so the length alone selects the key to compare with.
inline constexpr CKnownKey KnownKeys[] = {
    {"parent_linkage", NMetadata::CParent::formatParentLinkage, "formatParentLinkage"},
    {"parent_linkage2", NMetadata::CParent::formatParentLinkage2, "formatParentLinkage2"},
    {"relative_path", NMetadata::CParent::formatRelativePath, "formatRelativePath"},
    {"volume_path", NMetadata::CParent::formatVolumePath, "formatVolumePath"},
    {"absolute_win32_path", NMetadata::CParent::formatAbsoluteWin32Path, "formatAbsoluteWin32Path"},
};

/// Null for a region that the format does not know.
inline const CKnownRegion* FindRegion(const _GUID& id) {
    for (const CKnownRegion& region : KnownRegions) {
        if (IsEqual(region.id, id)) {
            return &region;
        }
    }
    return nullptr;
}

/// Null for an item that the format does not know.
inline const CKnownItem* FindItem(const _GUID& id) {
    for (const CKnownItem& item : KnownItems) {
        if (IsEqual(item.id, id)) {
            return &item;
        }
    }
    return nullptr;
}

/// `type` is one that the enumeration names.
constexpr const CKnownItem& ItemOf(CAccessor::CMetadata::EType type) {
    std::size_t index = 0;
    while (index + 1 < std::size(KnownItems) && KnownItems[index].type != type) {
        ++index;
    }
    return KnownItems[index];
}

}  // namespace NFormat
}  // namespace NVHDX

#endif
