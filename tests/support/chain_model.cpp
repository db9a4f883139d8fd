#include "tests/support/chain_model.h"

#include <algorithm>

namespace NTest {
namespace {

std::string LinkageOf(std::size_t disk) {
    std::string digits = std::to_string(disk);
    digits.insert(0, 12 - digits.size(), '0');
    return "{6e4d5f00-1000-4a00-8000-" + digits + "}";
}

std::u16string Wide(const std::string& text) {
    return std::u16string(text.begin(), text.end());
}

}  // namespace

CDiskShape& CDiskShape::Size(std::uint64_t bytes) {
    size = bytes;
    return *this;
}

CDiskShape& CDiskShape::BlockSize(std::uint64_t bytes) {
    blockSize = bytes;
    return *this;
}

CDiskShape& CDiskShape::SectorSize(std::uint32_t bytes) {
    sectorSize = bytes;
    return *this;
}

std::string CChainModel::Name(std::size_t disk) {
    return std::to_string(disk) + (disk == 0 ? ".vhdx" : ".avhdx");
}

std::u16string CChainModel::LinkageText(std::size_t disk) {
    return Wide(LinkageOf(disk));
}

CChainModel& CChainModel::AddDisk(const CDiskShape& shape) {
    const std::size_t disk = m_disks.size();
    CImageBuilder builder;
    builder.BlockSize(shape.blockSize).SectorSize(shape.sectorSize).VirtualSize(shape.size);
    builder.DataWriteGuid(Guid(LinkageOf(disk)));
    if (disk != 0) {
        builder.Differencing().ParentLocator({{u"parent_linkage", LinkageText(disk - 1)},
                                              {u"relative_path", u".\\" + Wide(Name(disk - 1))}});
    }
    m_disks.push_back({shape, builder, {}, {}});
    m_content.resize(static_cast<std::size_t>(shape.size));
    return *this;
}

std::uint64_t CChainModel::BlockCount() const {
    return (Shape().size + Shape().blockSize - 1) / Shape().blockSize;
}

CChainModel& CChainModel::Present(std::uint64_t block, std::uint64_t seed) {
    const std::uint64_t size = Shape().blockSize;
    Builder().AllocateData(block, seed);
    Say(data, block * size, size);
    SetContent(block * size, size, Pattern(seed, block * size, size));
    return *this;
}

CChainModel& CChainModel::Partial(std::uint64_t block, std::uint64_t seed,
                                  const std::set<std::uint64_t>& sectors) {
    const std::uint64_t size = Shape().blockSize;
    const std::uint64_t sectorSize = Shape().sectorSize;
    Builder().AllocatePartialData(block, seed);
    for (const std::uint64_t sector : sectors) {
        const std::uint64_t offset = block * size + sector * sectorSize;
        Say(data, offset, sectorSize);
        SetContent(offset, sectorSize, Pattern(seed, offset, sectorSize));
        // The first sector of a chunk is the lowest bit of its bitmap's first byte.
        const std::uint64_t diskSector = offset / sectorSize;
        CBytes& bitmap = m_disks.back().bitmaps[diskSector / 8388608];
        bitmap.resize(1048576);
        bitmap[static_cast<std::size_t>(diskSector % 8388608 / 8)] |=
            static_cast<unsigned char>(1u << diskSector % 8);
    }
    m_disks.back().bitmaps[block * size / sectorSize / 8388608].resize(1048576);
    return *this;
}

CChainModel& CChainModel::Empty(std::uint64_t block, EEmpty state, bool withSpace) {
    const std::uint64_t size = Shape().blockSize;
    Builder().PayloadBlock(block, state, withSpace ? 2 : 0);
    Say(zeros, block * size, size);
    SetContent(block * size, size, CBytes(static_cast<std::size_t>(size)));
    return *this;
}

void CChainModel::Say(ESays what, std::uint64_t offset, std::uint64_t length) {
    const std::uint64_t sectorSize = Shape().sectorSize;
    for (std::uint64_t at = offset; at < offset + length; at += sectorSize) {
        m_disks.back().sectors[at / sectorSize] = what;
    }
}

CChainModel::ESays CChainModel::Says(std::size_t disk, std::uint64_t sector) const {
    const auto found = m_disks[disk].sectors.find(sector);
    return found == m_disks[disk].sectors.end() ? nothing : found->second;
}

std::uint64_t CChainModel::Position(std::size_t disk, std::uint64_t offset) const {
    const std::uint64_t size = m_disks[disk].shape.blockSize;
    return m_disks[disk].builder.BlockPosition(offset / size) + offset % size;
}

/// What lies past the end of the disk is no content.
void CChainModel::SetContent(std::uint64_t begin, std::uint64_t length, const CBytes& bytes) {
    const std::uint64_t left = begin < m_content.size() ? m_content.size() - begin : 0;
    std::copy_n(bytes.data(), static_cast<std::size_t>(std::min(length, left)),
                m_content.data() + std::min<std::uint64_t>(begin, m_content.size()));
}

CSparseImage CChainModel::Image(std::size_t disk) const {
    CImageBuilder builder = m_disks[disk].builder;
    for (const auto& [chunk, bitmap] : m_disks[disk].bitmaps) {
        builder.AllocateSectorBitmap(chunk, bitmap);
    }
    return builder.Build();
}

void CChainModel::WriteTo(const std::filesystem::path& folder) const {
    for (std::size_t disk = 0; disk < m_disks.size(); ++disk) {
        Image(disk).WriteTo(folder / Name(disk));
    }
}

}  // namespace NTest
