#ifndef VHDX_PARSER_TESTS_SUPPORT_IMAGE_BUILDER_H
#define VHDX_PARSER_TESTS_SUPPORT_IMAGE_BUILDER_H

/// Lays out a VHDX container byte by byte. What is not said comes out correct, what is said comes
/// out as said, however hostile. A builder is a value: copy it and vary the copy.
// clang-format off
///
///     CSparseImage image = CImageBuilder()
///         .BlockSize(32 * MiB).SectorSize(512).VirtualSize(10 * GiB) // 1 MiB, 512, 16 MiB
///         .Differencing()                        // has-parent flag, and a usual parent locator
///         .ParentLocator({{u"relative_path", u".\\base.vhdx"}})  // these pairs
///         .PayloadBlock(0, 6, 9)                 // BAT entry: block, state bits, MiB[, reserved]
///         .SectorBitmapBlock(1, 6, 8)            // the entry of chunk 1's sector bitmap
///         .RawBatEntry(5, 0xFFFFFFFFFFFFFFFF)    // any entry by its index in the table
///         .Build();
/// Content in the next free MiB, with its BAT entry; BlockPosition and BitmapPosition say where:
///         .AllocateData(3, seed)                 // state 6, Pattern(seed, virtual offset)
///         .AllocateData(3, CBytes{1, 2, 3})      // state 6, these bytes, then zeros
///         .AllocatePartialData(3, seed)          // state 7; likewise with bytes
///         .AllocateSectorBitmap(0, CBytes{0x0F}) // state 6, 1 MiB; the bytes as they stand
/// Every structure has an Edit call, applied to the defaults when building; several add up:
///         .EditHeader(0, [](CHeader& header) { header.signature = 0; })  // copy 0 or 1
///         .EditHeaders(...)                      // both copies
///         .EditRegionTable(0, [](CRegionTable& table) { table.entryCount = 9; })
///         .EditRegionTables([](CRegionTable& table) { table.Find(NGuid::batRegion).length = 8; })
///         .EditMetadata([](CMetadataTable& table) { table.Remove(NGuid::page83Data); })
///         .EditParentLocator([](CParentLocator& locator) { locator.entries[0].keyLength = 29; })
///         .EditFileTypeIdentifier(...)
/// Shortcuts:
///         .Log(guid, CLogEntry().Bytes()) .LogAt(guid, offset, length) .DataWriteGuid(guid)
///         .DiskId(guid) .MetadataItem(guid, payload) .NoParentLocator() .LeaveBlocksAllocated()
///         .BatLength(8)                          // what both region tables claim
///         .BatOffset(b) .MetadataOffset(b) .DataStart(mebibytes)  // move the things themselves
///         .Bytes(offset, bytes)                  // written after everything else
///         .FileSize(size)                        // at the very end: cuts off or extends
/// Queries: BatPosition() MetadataPosition() ItemPosition(guid) BlockPosition(i) BitmapPosition(c)
///         Geometry().ChunkRatio(), .EntryCount(), .PayloadEntry(i), .SectorBitmapEntry(c)
/// Usual places: headers 64 and 128 KiB, region tables 192 and 256 KiB, log 1 MiB, metadata 2 MiB,
/// BAT 3 MiB. PayloadBlock and SectorBitmapBlock set an entry only: the file does not grow.
// clang-format on

#include <array>
#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "tests/support/content_pattern.h"
#include "tests/support/disk_geometry.h"
#include "tests/support/image_headers.h"
#include "tests/support/image_metadata.h"
#include "tests/support/sparse_image.h"

namespace NTest {

class CImageBuilder {
public:
    template <class T>
    using CEdit = std::function<void(T&)>;

    CImageBuilder& BlockSize(std::uint64_t bytes);
    CImageBuilder& SectorSize(std::uint32_t bytes);
    CImageBuilder& PhysicalSectorSize(std::uint32_t bytes);
    CImageBuilder& VirtualSize(std::uint64_t bytes);
    CImageBuilder& Differencing(bool differencing = true);
    CImageBuilder& LeaveBlocksAllocated(bool leave = true);
    CImageBuilder& DiskId(const CGuid& guid);
    CImageBuilder& DataWriteGuid(const CGuid& guid);
    CImageBuilder& ParentLocator(const CParentLocatorPairs& pairs);
    CImageBuilder& NoParentLocator();
    CImageBuilder& MetadataItem(const CGuid& guid, CBytes payload);

    CImageBuilder& PayloadBlock(std::uint64_t block, unsigned stateBits, std::uint64_t offsetMiB,
                                std::uint64_t reservedBits = 0);
    CImageBuilder& SectorBitmapBlock(std::uint64_t chunk, unsigned stateBits,
                                     std::uint64_t offsetMiB, std::uint64_t reservedBits = 0);
    CImageBuilder& RawBatEntry(std::uint64_t entry, std::uint64_t word);

    CImageBuilder& AllocateData(std::uint64_t block, std::uint64_t seed);
    CImageBuilder& AllocateData(std::uint64_t block, CBytes content);
    CImageBuilder& AllocatePartialData(std::uint64_t block, std::uint64_t seed);
    CImageBuilder& AllocatePartialData(std::uint64_t block, CBytes content);
    CImageBuilder& AllocateSectorBitmap(std::uint64_t chunk, CBytes content);

    CImageBuilder& EditFileTypeIdentifier(CEdit<CFileTypeIdentifier> edit);
    CImageBuilder& EditHeader(std::size_t copy, CEdit<CHeader> edit);
    CImageBuilder& EditHeaders(const CEdit<CHeader>& edit);
    CImageBuilder& EditRegionTable(std::size_t copy, CEdit<CRegionTable> edit);
    CImageBuilder& EditRegionTables(const CEdit<CRegionTable>& edit);
    CImageBuilder& EditMetadata(CEdit<CMetadataTable> edit);
    CImageBuilder& EditParentLocator(CEdit<CParentLocator> edit);

    /// Gives both headers the log GUID and writes the entry at the log's usual place, 1 MiB.
    CImageBuilder& Log(const CGuid& guid, CBytes entry);
    /// Gives both headers these log fields; writes nothing.
    CImageBuilder& LogAt(const CGuid& guid, std::uint64_t offset, std::uint32_t length);

    CImageBuilder& BatOffset(std::uint64_t offset);
    CImageBuilder& BatLength(std::uint32_t length);
    CImageBuilder& MetadataOffset(std::uint64_t offset);
    CImageBuilder& DataStart(std::uint64_t mebibytes);
    CImageBuilder& Bytes(std::uint64_t offset, CBytes bytes);
    CImageBuilder& FileSize(std::uint64_t size);

    const CDiskGeometry& Geometry() const { return m_geometry; }
    std::uint64_t BatPosition() const { return m_batOffset; }
    std::uint64_t MetadataPosition() const { return m_metadataOffset; }
    std::uint64_t ItemPosition(const CGuid& guid) const;
    /// Byte position of an allocated block or sector bitmap; throws when it was not allocated.
    std::uint64_t BlockPosition(std::uint64_t block) const;
    std::uint64_t BitmapPosition(std::uint64_t chunk) const;

    /// Throws std::out_of_range when a BAT entry was set that the BAT has no room for.
    CSparseImage Build() const;

private:
    /// A block or a sector bitmap with content, in a place that follows from the ones before it.
    struct CAllocation {
        bool bitmap;
        std::uint64_t index;
        unsigned stateBits;
        std::optional<CBytes> content;
        std::uint64_t seed;
    };

    std::uint64_t BatRoom() const;
    std::uint64_t AllocationSize(const CAllocation& allocation) const;
    std::vector<std::uint64_t> AllocationPositions() const;
    std::uint64_t PositionOf(bool bitmap, std::uint64_t index) const;
    std::uint64_t FirstFreePosition() const;

    CHeader Header(std::size_t copy) const;
    CRegionTable RegionTable(std::size_t copy) const;
    CMetadataTable Metadata() const;
    std::optional<CParentLocator> Locator() const;
    CBytes AllocationContent(const CAllocation& allocation) const;

    void WriteStart(CSparseImage& image) const;
    void WriteMetadata(CSparseImage& image) const;
    void WriteBat(CSparseImage& image) const;
    void WriteBatEntry(CSparseImage& image, std::uint64_t entry, std::uint64_t word) const;
    void WriteAllocations(CSparseImage& image) const;

    CDiskGeometry m_geometry;
    std::uint32_t m_physicalSectorSize = 512;
    bool m_leaveBlocksAllocated = false;
    CGuid m_diskId = Guid("{6E4D5F00-0003-4A00-8000-000000000003}");
    bool m_noParentLocator = false;
    std::optional<CParentLocatorPairs> m_parentLocator;

    std::uint64_t m_batOffset = 3 * MiB;
    std::uint64_t m_metadataOffset = 2 * MiB;
    std::optional<std::uint64_t> m_dataStart;
    std::optional<std::uint64_t> m_fileSize;

    std::map<std::uint64_t, std::uint64_t> m_payloadBlocks;
    std::map<std::uint64_t, std::uint64_t> m_sectorBitmapBlocks;
    std::map<std::uint64_t, std::uint64_t> m_rawEntries;
    std::vector<CAllocation> m_allocations;
    std::vector<std::pair<std::uint64_t, CBytes>> m_bytes;

    std::vector<CEdit<CFileTypeIdentifier>> m_identifierEdits;
    std::array<std::vector<CEdit<CHeader>>, 2> m_headerEdits;
    std::array<std::vector<CEdit<CRegionTable>>, 2> m_regionTableEdits;
    std::vector<CEdit<CMetadataTable>> m_metadataEdits;
    std::vector<CEdit<CParentLocator>> m_parentLocatorEdits;
};

}  // namespace NTest

#endif
