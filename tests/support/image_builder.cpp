#include "tests/support/image_builder.h"

#include <utility>

// What a test says about the container; image_layout.cpp turns it into bytes.

namespace NTest {
namespace {

std::uint64_t BatWord(unsigned stateBits, std::uint64_t offsetMiB, std::uint64_t reservedBits) {
    return (stateBits & 7u) | (reservedBits & 0x1FFFF) << 3 | offsetMiB << 20;
}

constexpr unsigned fullyPresent = 6;
constexpr unsigned partiallyPresent = 7;

}  // namespace

CImageBuilder& CImageBuilder::BlockSize(std::uint64_t bytes) {
    m_geometry.blockSize = static_cast<std::uint32_t>(bytes);
    return *this;
}

CImageBuilder& CImageBuilder::SectorSize(std::uint32_t bytes) {
    m_geometry.sectorSize = bytes;
    return *this;
}

CImageBuilder& CImageBuilder::PhysicalSectorSize(std::uint32_t bytes) {
    m_physicalSectorSize = bytes;
    return *this;
}

CImageBuilder& CImageBuilder::VirtualSize(std::uint64_t bytes) {
    m_geometry.virtualSize = bytes;
    return *this;
}

CImageBuilder& CImageBuilder::Differencing(bool differencing) {
    m_geometry.differencing = differencing;
    return *this;
}

CImageBuilder& CImageBuilder::LeaveBlocksAllocated(bool leave) {
    m_leaveBlocksAllocated = leave;
    return *this;
}

CImageBuilder& CImageBuilder::DiskId(const CGuid& guid) {
    m_diskId = guid;
    return *this;
}

CImageBuilder& CImageBuilder::DataWriteGuid(const CGuid& guid) {
    return EditHeaders([guid](CHeader& header) { header.dataWriteGuid = guid; });
}

CImageBuilder& CImageBuilder::ParentLocator(const CParentLocatorPairs& pairs) {
    m_parentLocator = pairs;
    m_noParentLocator = false;
    return *this;
}

CImageBuilder& CImageBuilder::NoParentLocator() {
    m_noParentLocator = true;
    return *this;
}

CImageBuilder& CImageBuilder::MetadataItem(const CGuid& guid, CBytes payload) {
    return EditMetadata([guid, payload = std::move(payload)](CMetadataTable& table) {
        table.Find(guid).payload = payload;
    });
}

CImageBuilder& CImageBuilder::PayloadBlock(std::uint64_t block, unsigned stateBits,
                                           std::uint64_t offsetMiB, std::uint64_t reservedBits) {
    m_payloadBlocks[block] = BatWord(stateBits, offsetMiB, reservedBits);
    return *this;
}

CImageBuilder& CImageBuilder::SectorBitmapBlock(std::uint64_t chunk, unsigned stateBits,
                                                std::uint64_t offsetMiB,
                                                std::uint64_t reservedBits) {
    m_sectorBitmapBlocks[chunk] = BatWord(stateBits, offsetMiB, reservedBits);
    return *this;
}

CImageBuilder& CImageBuilder::RawBatEntry(std::uint64_t entry, std::uint64_t word) {
    m_rawEntries[entry] = word;
    return *this;
}

CImageBuilder& CImageBuilder::AllocateData(std::uint64_t block, std::uint64_t seed) {
    m_allocations.push_back({false, block, fullyPresent, std::nullopt, seed});
    return *this;
}

CImageBuilder& CImageBuilder::AllocateData(std::uint64_t block, CBytes content) {
    m_allocations.push_back({false, block, fullyPresent, std::move(content), 0});
    return *this;
}

CImageBuilder& CImageBuilder::AllocatePartialData(std::uint64_t block, std::uint64_t seed) {
    m_allocations.push_back({false, block, partiallyPresent, std::nullopt, seed});
    return *this;
}

CImageBuilder& CImageBuilder::AllocatePartialData(std::uint64_t block, CBytes content) {
    m_allocations.push_back({false, block, partiallyPresent, std::move(content), 0});
    return *this;
}

CImageBuilder& CImageBuilder::AllocateSectorBitmap(std::uint64_t chunk, CBytes content) {
    m_allocations.push_back({true, chunk, fullyPresent, std::move(content), 0});
    return *this;
}

CImageBuilder& CImageBuilder::EditFileTypeIdentifier(CEdit<CFileTypeIdentifier> edit) {
    m_identifierEdits.push_back(std::move(edit));
    return *this;
}

CImageBuilder& CImageBuilder::EditHeader(std::size_t copy, CEdit<CHeader> edit) {
    m_headerEdits.at(copy).push_back(std::move(edit));
    return *this;
}

CImageBuilder& CImageBuilder::EditHeaders(const CEdit<CHeader>& edit) {
    return EditHeader(0, edit).EditHeader(1, edit);
}

CImageBuilder& CImageBuilder::EditRegionTable(std::size_t copy, CEdit<CRegionTable> edit) {
    m_regionTableEdits.at(copy).push_back(std::move(edit));
    return *this;
}

CImageBuilder& CImageBuilder::EditRegionTables(const CEdit<CRegionTable>& edit) {
    return EditRegionTable(0, edit).EditRegionTable(1, edit);
}

CImageBuilder& CImageBuilder::EditMetadata(CEdit<CMetadataTable> edit) {
    m_metadataEdits.push_back(std::move(edit));
    return *this;
}

CImageBuilder& CImageBuilder::EditParentLocator(CEdit<CParentLocator> edit) {
    m_parentLocatorEdits.push_back(std::move(edit));
    return *this;
}

CImageBuilder& CImageBuilder::Log(const CGuid& guid, CBytes entry) {
    return EditHeaders([guid](CHeader& header) { header.logGuid = guid; })
        .Bytes(1 * MiB, std::move(entry));
}

CImageBuilder& CImageBuilder::LogAt(const CGuid& guid, std::uint64_t offset, std::uint32_t length) {
    return EditHeaders([=](CHeader& header) {
        header.logGuid = guid;
        header.logOffset = offset;
        header.logLength = length;
    });
}

CImageBuilder& CImageBuilder::BatOffset(std::uint64_t offset) {
    m_batOffset = offset;
    return *this;
}

CImageBuilder& CImageBuilder::BatLength(std::uint32_t length) {
    return EditRegionTables(
        [length](CRegionTable& table) { table.Find(NGuid::batRegion).length = length; });
}

CImageBuilder& CImageBuilder::MetadataOffset(std::uint64_t offset) {
    m_metadataOffset = offset;
    return *this;
}

CImageBuilder& CImageBuilder::DataStart(std::uint64_t mebibytes) {
    m_dataStart = mebibytes * MiB;
    return *this;
}

CImageBuilder& CImageBuilder::Bytes(std::uint64_t offset, CBytes bytes) {
    m_bytes.emplace_back(offset, std::move(bytes));
    return *this;
}

CImageBuilder& CImageBuilder::FileSize(std::uint64_t size) {
    m_fileSize = size;
    return *this;
}

}  // namespace NTest
