#ifndef VHDX_PARSER_METADATA_H
#define VHDX_PARSER_METADATA_H

/// The metadata items of a disk, as `CAccessor::Retrieve` reads them from the metadata region.
/// Plain values; no value is checked for plausibility.

#include <cstdint>
#include <map>
#include <string>

#include <vhdx_parser/guid.h>

namespace NVHDX {
namespace NMetadata {

/// File Parameters item {CAA16737-FA36-4D43-B3B6-33F0AA44E76B}: BlockSize and the two flag bits.
struct CFileParameters {
    std::uint32_t blockSize = 0;        ///< payload block size in bytes
    bool leaveBlocksAllocated = false;  ///< flag bit 0: the disk is of fixed size
    bool hasParent = false;             ///< flag bit 1: the disk is a differencing disk
};

/// Virtual Disk Size item {2FA54224-CD1B-4876-B211-5DBED83BF4B8}.
struct CVirtualDiskSize {
    std::uint64_t size = 0;  ///< bytes
};

/// Page 83 Data item {BECA12AB-B2E6-4523-93EF-C309E000C746}: the identifier that the virtual disk
/// shows to its guest.
struct CPage83Data {
    _GUID page83Data = {};
};

/// Logical Sector Size item {8141BF1D-A96F-4709-BA47-F233A8FAAB5F}.
struct CLogicalSectorSize {
    std::uint16_t sectorSize = 0;  ///< bytes; the low 16 bits of the 32-bit number on disk
};

/// Physical Sector Size item {CDA348C7-445D-4471-9CC9-E9885251C556}.
struct CPhysicalSectorSize {
    std::uint16_t sectorSize = 0;  ///< bytes; the low 16 bits of the 32-bit number on disk
};

/// Parent Locator item {A8D35F2D-B30B-454D-ABF7-D3D84834AB0C}: how a differencing disk names its
/// parent.
struct CParent {
    /// The keys that a locator may hold.
    enum EFormat : std::int32_t {
        formatParentLinkage = 1,      ///< "parent_linkage"
        formatParentLinkage2 = 2,     ///< "parent_linkage2"
        formatRelativePath = 3,       ///< "relative_path"
        formatVolumePath = 4,         ///< "volume_path"
        formatAbsoluteWin32Path = 5,  ///< "absolute_win32_path"
    };

    struct CEntry {
        EFormat format = formatParentLinkage;
        std::wstring
            value;  ///< one character for each UTF-16 code unit on disk, taken as it stands
    };

    bool present = false;  ///< the disk has a parent locator
    std::map<EFormat, CEntry> entries;
};

}  // namespace NMetadata
}  // namespace NVHDX

#endif
