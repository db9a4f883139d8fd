#ifndef VHDX_PARSER_TESTS_SUPPORT_IMAGE_HEADERS_H
#define VHDX_PARSER_TESTS_SUPPORT_IMAGE_HEADERS_H

/// The fixed structures at the start of a container and the log entry, each with every field open.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/bytes.h"

namespace NTest {

struct CFileTypeIdentifier {
    std::uint64_t signature = 0x656C696678646876;  // "vhdxfile"
    std::u16string creator = u"vhdx_parser tests";

    CBytes Bytes() const;
};

/// One of the two headers. Without a checksum of its own it gets the right one.
struct CHeader {
    bool present = true;
    std::uint32_t signature = 0x64616568;  // "head"
    std::optional<std::uint32_t> checksum;
    std::uint64_t sequenceNumber = 1;
    CGuid fileWriteGuid = Guid("{6E4D5F00-0001-4A00-8000-000000000001}");
    CGuid dataWriteGuid = Guid("{6E4D5F00-0002-4A00-8000-000000000002}");
    CGuid logGuid{};
    std::uint16_t logVersion = 0;
    std::uint16_t version = 1;
    std::uint32_t logLength = 1048576;
    std::uint64_t logOffset = 1048576;
    CBytes reserved;  // from byte 80 on

    CBytes Bytes() const;
};

struct CRegionEntry {
    CGuid guid;
    std::uint64_t offset = 0;
    std::uint32_t length = 0;
    std::uint32_t flags = 1;  // bit 0: required
};

/// One of the two region tables. The entry count follows the entries unless it is set.
struct CRegionTable {
    bool present = true;
    std::uint32_t signature = 0x69676572;  // "regi"
    std::optional<std::uint32_t> checksum;
    std::optional<std::uint32_t> entryCount;
    std::uint32_t reserved = 0;
    std::vector<CRegionEntry> entries;

    CRegionEntry& Find(const CGuid& guid);
    void Remove(const CGuid& guid);
    CBytes Bytes() const;
};

/// A log entry's header, as published: 64 bytes at the start of its first 4 KiB sector.
struct CLogEntry {
    std::uint32_t signature = 0x65676F6C;  // "loge"
    std::optional<std::uint32_t> checksum;
    std::uint32_t entryLength = 4096;
    std::uint32_t tail = 0;
    std::uint64_t sequenceNumber = 1;
    std::uint32_t descriptorCount = 0;
    std::uint32_t reserved = 0;
    CGuid logGuid{};
    std::uint64_t flushedFileOffset = 0;
    std::uint64_t lastFileOffset = 0;
    CBytes rest;  // descriptors and data sectors, from byte 64 on

    CBytes Bytes() const;
};

namespace NGuid {

inline const CGuid batRegion = Guid("{2DC27766-F623-4200-9D64-115E9BFD4A08}");
inline const CGuid metadataRegion = Guid("{8B7CA206-4790-4B9A-B8FE-575F050F886E}");
inline const CGuid fileParameters = Guid("{CAA16737-FA36-4D43-B3B6-33F0AA44E76B}");
inline const CGuid virtualDiskSize = Guid("{2FA54224-CD1B-4876-B211-5DBED83BF4B8}");
inline const CGuid page83Data = Guid("{BECA12AB-B2E6-4523-93EF-C309E000C746}");
inline const CGuid logicalSectorSize = Guid("{8141BF1D-A96F-4709-BA47-F233A8FAAB5F}");
inline const CGuid physicalSectorSize = Guid("{CDA348C7-445D-4471-9CC9-E9885251C556}");
inline const CGuid parentLocator = Guid("{A8D35F2D-B30B-454D-ABF7-D3D84834AB0C}");
inline const CGuid parentLocatorType = Guid("{B04AEFB7-D19E-4A81-B789-25B8E9445913}");
/// Names nothing that the format knows.
inline const CGuid unknown = Guid("{0BADF00D-1111-2222-3333-444444444444}");

}  // namespace NGuid
}  // namespace NTest

#endif
