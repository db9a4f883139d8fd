#include "tests/support/naive_disk.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "tests/support/image_headers.h"

namespace NTest {
namespace {

/// A sector bitmap has as many bits.
constexpr std::uint64_t sectorsPerChunk = 8 * MiB;
constexpr std::uint64_t regionTablePosition = 192 * KiB;
constexpr std::uint64_t largestPosition = 0x7FFFFFFFFFFFFFFF;

/// Read from the file in one piece; none where the file is too short.
std::optional<CBytes> BytesAt(const CNaiveReplay& file, std::uint64_t position,
                              std::uint64_t length) {
    CBytes bytes(static_cast<std::size_t>(length));
    return file.Read(position, bytes) ? std::optional(std::move(bytes)) : std::nullopt;
}

std::optional<std::uint64_t> NumberAt(const CNaiveReplay& file, std::uint64_t position,
                                      std::uint64_t width) {
    const auto bytes = BytesAt(file, position, width);
    return bytes ? std::optional(LittleEndian(*bytes)) : std::nullopt;
}

/// The first of the entries of 32 bytes each, which begin with a GUID, that has this one.
std::optional<CBytes> EntryOf(std::span<const unsigned char> entries, const CGuid& guid) {
    for (; entries.size() >= 32; entries = entries.subspan(32)) {
        if (std::equal(guid.begin(), guid.end(), entries.begin())) {
            return CBytes(entries.begin(), entries.begin() + 32);
        }
    }
    return std::nullopt;
}

/// The entries of a table whose header has 16 or 32 bytes and tells their number at `countAt`.
std::optional<CBytes> EntriesAt(const CNaiveReplay& file, std::uint64_t position,
                                std::string_view signature, std::uint64_t header,
                                std::size_t countAt, std::size_t countWidth) {
    const auto start = BytesAt(file, position, header);
    if (!start ||
        !std::equal(signature.begin(), signature.end(), start->begin(),
                    [](char letter, unsigned char byte) { return letter == char(byte); })) {
        return std::nullopt;
    }
    const std::uint64_t count = LittleEndian(std::span(*start).subspan(countAt, countWidth));
    return count > 2047 ? std::nullopt : BytesAt(file, position + header, 32 * count);
}

std::uint64_t FieldOf(const CBytes& entry, std::size_t offset, std::size_t width) {
    return LittleEndian(std::span(entry).subspan(offset, width));
}

}  // namespace

CNaiveFile::CNaiveFile(CNaiveReplay bytes) : m_bytes(std::move(bytes)) {
    m_isDisk = ReadRegions() && IsGeometry();
}

bool CNaiveFile::ReadRegions() {
    const auto entries = EntriesAt(m_bytes, regionTablePosition, "regi", 16, 8, 4);
    if (!entries) {
        return false;
    }
    const auto table = EntryOf(*entries, NGuid::batRegion);
    const auto metadata = EntryOf(*entries, NGuid::metadataRegion);
    if (!table || !metadata) {
        return false;
    }
    m_table = FieldOf(*table, 16, 8);
    m_tableLength = FieldOf(*table, 24, 4);
    return ReadMetadata(FieldOf(*metadata, 16, 8));
}

bool CNaiveFile::ReadMetadata(std::uint64_t region) {
    const auto entries = EntriesAt(m_bytes, region, "metadata", 32, 10, 2);
    if (!entries) {
        return false;
    }
    const auto field = [&](const CGuid& guid, std::uint64_t offset, std::uint64_t width) {
        const auto entry = EntryOf(*entries, guid);
        return entry ? NumberAt(m_bytes, region + FieldOf(*entry, 16, 4) + offset, width)
                     : std::nullopt;
    };
    const auto blockSize = field(NGuid::fileParameters, 0, 4);
    const auto flags = field(NGuid::fileParameters, 4, 4);
    const auto sectorSize = field(NGuid::logicalSectorSize, 0, 4);
    const auto virtualSize = field(NGuid::virtualDiskSize, 0, 8);
    if (!blockSize || !flags || !sectorSize || !virtualSize) {
        return false;
    }
    m_blockSize = *blockSize;
    m_hasParent = (*flags & 2) != 0;
    m_sectorSize = *sectorSize;
    m_virtualSize = *virtualSize;
    return true;
}

bool CNaiveFile::IsGeometry() const {
    bool isBlockSize = false;
    for (std::uint64_t size = MiB; size <= 256 * MiB; size *= 2) {
        isBlockSize = isBlockSize || m_blockSize == size;
    }
    return isBlockSize && (m_sectorSize == 512 || m_sectorSize == 4096) && m_virtualSize != 0 &&
           m_virtualSize <= 64 * TiB;
}

std::optional<std::uint64_t> CNaiveFile::TableWord(std::uint64_t entry) const {
    return entry < m_tableLength / 8 ? NumberAt(m_bytes, m_table + 8 * entry, 8) : std::nullopt;
}

/// Behind the payload entries of each chunk stands the entry of its sector bitmap.
CNaivePlace CNaiveFile::PlaceOf(std::uint64_t offset) const {
    const std::uint64_t ratio = sectorsPerChunk * m_sectorSize / m_blockSize;
    const std::uint64_t block = offset / m_blockSize;
    const auto word = TableWord(block / ratio * (ratio + 1) + block % ratio);
    if (!word) {
        return {};
    }
    const std::uint64_t position = *word >> 20 << 20;
    switch (*word & 7) {
        case 0:
            return {CNaivePlace::hole, 0, 0, false};
        case 1:
        case 2:
        case 3:
            return {CNaivePlace::zeros, 0, 0, false};
        case 6:
            break;
        case 7:
            return m_hasParent ? PartialPlace(offset, position) : CNaivePlace();
        default:
            return {};
    }
    if (position > largestPosition || position + offset % m_blockSize >= m_bytes.Size()) {
        return {};
    }
    const std::uint64_t at = position + offset % m_blockSize;
    return {CNaivePlace::data, 0, at, m_bytes.IsFromLog(at)};
}

/// The lowest bit of the bitmap's first byte is that of the chunk's first sector.
CNaivePlace CNaiveFile::PartialPlace(std::uint64_t offset, std::uint64_t position) const {
    const std::uint64_t ratio = sectorsPerChunk * m_sectorSize / m_blockSize;
    const std::uint64_t chunk = offset / (sectorsPerChunk * m_sectorSize);
    const std::uint64_t sector = offset / m_sectorSize % sectorsPerChunk;
    const auto word = TableWord(chunk * (ratio + 1) + ratio);
    if (!word || (*word & 7) != 6 || *word >> 20 == 0) {
        return {};
    }
    const auto byte = NumberAt(m_bytes, (*word >> 20 << 20) + sector / 8, 1);
    if (!byte || position > largestPosition || position + offset % m_blockSize >= m_bytes.Size()) {
        return {};
    }
    if ((*byte >> sector % 8 & 1) == 0) {
        return {CNaivePlace::hole, 0, 0, false};
    }
    const std::uint64_t at = position + offset % m_blockSize;
    return {CNaivePlace::data, 0, at, m_bytes.IsFromLog(at)};
}

CNaiveDisk::CNaiveDisk(CFiles newestFirst, bool withParents) {
    for (auto& file : newestFirst) {
        const CNaiveReplay::EAnswer log = file->Bytes().Answer();
        const bool isReadable = file->IsDisk() && (log == CNaiveReplay::replayed ||
                                                   log == CNaiveReplay::nothingPending);
        m_files.push_back(std::move(file));
        if (!isReadable) {
            return;
        }
        if (!withParents || !m_files.back()->HasParent()) {
            m_isWhole = true;
            return;
        }
    }
}

/// The newest file that says something wins. What a file does not reach is cut off: the files below
/// it say nothing there.
CNaivePlace CNaiveDisk::PlaceOf(std::uint64_t offset) const {
    for (std::size_t file = 0; file < m_files.size(); ++file) {
        if (offset >= m_files[file]->VirtualSize()) {
            break;
        }
        CNaivePlace place = m_files[file]->PlaceOf(offset);
        if (place.kind != CNaivePlace::hole) {
            place.file = file;
            return place;
        }
    }
    return {CNaivePlace::hole, 0, 0, false};
}

/// Nothing is smaller than a sector of 512 bytes but the end of a disk.
std::uint64_t CNaiveDisk::StepEnd(std::uint64_t offset) const {
    std::uint64_t end = (offset / 512 + 1) * 512;
    for (const auto& file : m_files) {
        if (file->VirtualSize() > offset) {
            end = std::min(end, file->VirtualSize());
        }
    }
    return end;
}

bool CNaiveDisk::Read(std::uint64_t offset, std::span<unsigned char> bytes) const {
    if (offset > Size() || bytes.size() > Size() - offset) {
        return false;
    }
    while (!bytes.empty()) {
        const auto count = static_cast<std::size_t>(
            std::min<std::uint64_t>(bytes.size(), StepEnd(offset) - offset));
        const auto piece = bytes.first(count);
        const CNaivePlace place = PlaceOf(offset);
        if (place.kind == CNaivePlace::unknown) {
            return false;
        }
        if (place.kind != CNaivePlace::data) {
            std::fill(piece.begin(), piece.end(), static_cast<unsigned char>(0));
        } else if (!m_files[place.file]->Bytes().Read(place.position, piece)) {
            return false;
        }
        offset += count;
        bytes = bytes.subspan(count);
    }
    return true;
}

}  // namespace NTest
