#include <algorithm>
#include <limits>
#include <stdexcept>

#include "tests/support/image_builder.h"

// The bytes of the container that an image builder describes.

namespace NTest {
namespace {

constexpr std::array<std::uint64_t, 2> headerPositions = {64 * KiB, 128 * KiB};
constexpr std::array<std::uint64_t, 2> regionTablePositions = {192 * KiB, 256 * KiB};
constexpr std::uint64_t metadataLength = 1 * MiB;
// Keeps the arithmetic of hostile geometries within 64 bits.
constexpr std::uint64_t mostBatEntries = std::uint64_t{1} << 40;

std::uint64_t RoundUpToMebibyte(std::uint64_t value) {
    return (value + MiB - 1) / MiB * MiB;
}

template <class T>
T Edited(T structure, const std::vector<std::function<void(T&)>>& edits) {
    for (const auto& edit : edits) {
        edit(structure);
    }
    return structure;
}

CBytes Number(std::uint64_t value, std::size_t width) {
    CBytes bytes;
    PutLittleEndian(bytes, 0, value, width);
    return bytes;
}

CMetadataItem Item(const CGuid& guid, CBytes payload, std::uint32_t flags) {
    CMetadataItem item;
    item.guid = guid;
    item.payload = std::move(payload);
    item.flags = flags;
    return item;
}

}  // namespace

CSparseImage CImageBuilder::Build() const {
    CSparseImage image;
    image.Resize(FirstFreePosition());
    WriteStart(image);
    WriteMetadata(image);
    WriteBat(image);
    WriteAllocations(image);
    for (const auto& [offset, bytes] : m_bytes) {
        image.Write(offset, bytes);
    }
    if (m_fileSize) {
        image.Resize(*m_fileSize);
    }
    return image;
}

std::uint64_t CImageBuilder::ItemPosition(const CGuid& guid) const {
    const CMetadataTable table = Metadata();
    const std::vector<std::uint32_t> offsets = table.Offsets();
    for (std::size_t index = 0; index < offsets.size(); ++index) {
        if (table.items[index].guid == guid) {
            return m_metadataOffset + offsets[index];
        }
    }
    throw std::out_of_range("no such metadata item");
}

std::uint64_t CImageBuilder::BlockPosition(std::uint64_t block) const {
    return PositionOf(false, block);
}

std::uint64_t CImageBuilder::BitmapPosition(std::uint64_t chunk) const {
    return PositionOf(true, chunk);
}

std::uint64_t CImageBuilder::BatRoom() const {
    const std::uint64_t entries = std::min(m_geometry.EntryCount(), mostBatEntries);
    return std::max(MiB, RoundUpToMebibyte(entries * 8));
}

std::uint64_t CImageBuilder::AllocationSize(const CAllocation& allocation) const {
    return RoundUpToMebibyte(allocation.bitmap ? MiB
                                               : std::max<std::uint64_t>(m_geometry.blockSize, 1));
}

std::vector<std::uint64_t> CImageBuilder::AllocationPositions() const {
    std::vector<std::uint64_t> positions;
    std::uint64_t next = m_dataStart.value_or(FirstFreePosition());
    for (const CAllocation& allocation : m_allocations) {
        positions.push_back(next);
        next += AllocationSize(allocation);
    }
    return positions;
}

std::uint64_t CImageBuilder::PositionOf(bool bitmap, std::uint64_t index) const {
    const std::vector<std::uint64_t> positions = AllocationPositions();
    for (std::size_t place = positions.size(); place > 0; --place) {
        const CAllocation& allocation = m_allocations[place - 1];
        if (allocation.bitmap == bitmap && allocation.index == index) {
            return positions[place - 1];
        }
    }
    throw std::out_of_range("not allocated");
}

std::uint64_t CImageBuilder::FirstFreePosition() const {
    return RoundUpToMebibyte(
        std::max({2 * MiB, m_metadataOffset + metadataLength, m_batOffset + BatRoom()}));
}

CHeader CImageBuilder::Header(std::size_t copy) const {
    CHeader header;
    header.sequenceNumber = copy + 1;
    return Edited(std::move(header), m_headerEdits[copy]);
}

CRegionTable CImageBuilder::RegionTable(std::size_t copy) const {
    const std::uint64_t length =
        std::min<std::uint64_t>(BatRoom(), std::numeric_limits<std::uint32_t>::max());
    CRegionTable table;
    table.entries = {
        {NGuid::batRegion, m_batOffset, static_cast<std::uint32_t>(length), 1},
        {NGuid::metadataRegion, m_metadataOffset, static_cast<std::uint32_t>(metadataLength), 1}};
    return Edited(std::move(table), m_regionTableEdits[copy]);
}

std::optional<CParentLocator> CImageBuilder::Locator() const {
    if (m_noParentLocator || !(m_geometry.differencing || m_parentLocator)) {
        return std::nullopt;
    }
    const CParentLocatorPairs usual = {
        {u"parent_linkage", u"{6E4D5F00-0002-4A00-8000-000000000002}"},
        {u"relative_path", u".\\parent.vhdx"}};
    return Edited(CParentLocator(m_parentLocator.value_or(usual)), m_parentLocatorEdits);
}

CMetadataTable CImageBuilder::Metadata() const {
    constexpr std::uint32_t ofFile = CMetadataItem::isRequired;
    constexpr std::uint32_t ofDisk = CMetadataItem::isRequired | CMetadataItem::isVirtualDisk;
    CBytes parameters = Number(m_geometry.blockSize, 4);
    Put32(parameters, 4, (m_leaveBlocksAllocated ? 1u : 0u) | (m_geometry.differencing ? 2u : 0u));
    CMetadataTable table;
    table.items = {Item(NGuid::fileParameters, parameters, ofFile),
                   Item(NGuid::virtualDiskSize, Number(m_geometry.virtualSize, 8), ofDisk),
                   Item(NGuid::page83Data, CBytes(m_diskId.begin(), m_diskId.end()), ofDisk),
                   Item(NGuid::logicalSectorSize, Number(m_geometry.sectorSize, 4), ofDisk),
                   Item(NGuid::physicalSectorSize, Number(m_physicalSectorSize, 4), ofDisk)};
    if (const auto locator = Locator()) {
        table.items.push_back(Item(NGuid::parentLocator, locator->Bytes(), ofFile));
    }
    return Edited(std::move(table), m_metadataEdits);
}

CBytes CImageBuilder::AllocationContent(const CAllocation& allocation) const {
    if (allocation.content) {
        return *allocation.content;
    }
    return Pattern(allocation.seed, allocation.index * m_geometry.blockSize, m_geometry.blockSize);
}

void CImageBuilder::WriteStart(CSparseImage& image) const {
    image.Write(0, Edited(CFileTypeIdentifier(), m_identifierEdits).Bytes());
    for (std::size_t copy = 0; copy < 2; ++copy) {
        if (const CHeader header = Header(copy); header.present) {
            image.Write(headerPositions[copy], header.Bytes());
        }
        if (const CRegionTable table = RegionTable(copy); table.present) {
            image.Write(regionTablePositions[copy], table.Bytes());
        }
    }
}

void CImageBuilder::WriteMetadata(CSparseImage& image) const {
    const CMetadataTable table = Metadata();
    const std::vector<std::uint32_t> offsets = table.Offsets();
    image.Write(m_metadataOffset, table.Bytes());
    for (std::size_t index = 0; index < offsets.size(); ++index) {
        image.Write(m_metadataOffset + offsets[index], table.items[index].payload);
    }
}

void CImageBuilder::WriteBat(CSparseImage& image) const {
    for (const auto& [block, word] : m_payloadBlocks) {
        WriteBatEntry(image, m_geometry.PayloadEntry(block), word);
    }
    for (const auto& [chunk, word] : m_sectorBitmapBlocks) {
        WriteBatEntry(image, m_geometry.SectorBitmapEntry(chunk), word);
    }
    for (const auto& [entry, word] : m_rawEntries) {
        WriteBatEntry(image, entry, word);
    }
}

void CImageBuilder::WriteBatEntry(CSparseImage& image, std::uint64_t entry,
                                  std::uint64_t word) const {
    if (entry >= BatRoom() / 8) {
        throw std::out_of_range("the block allocation table has no room for this entry");
    }
    image.Write(m_batOffset + 8 * entry, Number(word, 8));
}

void CImageBuilder::WriteAllocations(CSparseImage& image) const {
    const std::vector<std::uint64_t> positions = AllocationPositions();
    for (std::size_t index = 0; index < positions.size(); ++index) {
        const CAllocation& allocation = m_allocations[index];
        const std::uint64_t entry = allocation.bitmap
                                        ? m_geometry.SectorBitmapEntry(allocation.index)
                                        : m_geometry.PayloadEntry(allocation.index);
        WriteBatEntry(image, entry, allocation.stateBits | positions[index] / MiB << 20);
        image.Write(positions[index], AllocationContent(allocation));
        image.Resize(std::max(image.Size(), positions[index] + AllocationSize(allocation)));
    }
}

}  // namespace NTest
