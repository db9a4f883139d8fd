#include "tests/support/image_headers.h"

#include <algorithm>
#include <stdexcept>

namespace NTest {
namespace {

constexpr std::size_t checksumOffset = 4;

/// The checksum covers its structure with the checksum field taken as zero.
void PutChecksum(CBytes& bytes, const std::optional<std::uint32_t>& checksum, std::size_t covered) {
    Put32(bytes, checksumOffset, 0);
    Put32(bytes, checksumOffset,
          checksum ? *checksum : Crc32c(std::span(bytes).first(std::min(covered, bytes.size()))));
}

}  // namespace

CBytes CFileTypeIdentifier::Bytes() const {
    CBytes text;
    AppendUtf16(text, creator);
    CBytes bytes(64 * KiB);
    Put64(bytes, 0, signature);
    PutBytes(bytes, 8, text);
    return bytes;
}

CBytes CHeader::Bytes() const {
    CBytes bytes(4 * KiB);
    Put32(bytes, 0, signature);
    Put64(bytes, 8, sequenceNumber);
    PutBytes(bytes, 16, fileWriteGuid);
    PutBytes(bytes, 32, dataWriteGuid);
    PutBytes(bytes, 48, logGuid);
    Put16(bytes, 64, logVersion);
    Put16(bytes, 66, version);
    Put32(bytes, 68, logLength);
    Put64(bytes, 72, logOffset);
    PutBytes(bytes, 80, reserved);
    PutChecksum(bytes, checksum, bytes.size());
    return bytes;
}

CRegionEntry& CRegionTable::Find(const CGuid& guid) {
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [&](const CRegionEntry& entry) { return entry.guid == guid; });
    if (found == entries.end()) {
        throw std::out_of_range("no such region");
    }
    return *found;
}

void CRegionTable::Remove(const CGuid& guid) {
    std::erase_if(entries, [&](const CRegionEntry& entry) { return entry.guid == guid; });
}

CBytes CRegionTable::Bytes() const {
    CBytes bytes(64 * KiB);
    Put32(bytes, 0, signature);
    Put32(bytes, 8, entryCount.value_or(static_cast<std::uint32_t>(entries.size())));
    Put32(bytes, 12, reserved);
    std::size_t position = 16;
    for (const CRegionEntry& entry : entries) {
        PutBytes(bytes, position, entry.guid);
        Put64(bytes, position + 16, entry.offset);
        Put32(bytes, position + 24, entry.length);
        Put32(bytes, position + 28, entry.flags);
        position += 32;
    }
    PutChecksum(bytes, checksum, 64 * KiB);
    return bytes;
}

CBytes CLogEntry::Bytes() const {
    CBytes bytes(std::max<std::size_t>(4 * KiB, 64 + rest.size()));
    Put32(bytes, 0, signature);
    Put32(bytes, 8, entryLength);
    Put32(bytes, 12, tail);
    Put64(bytes, 16, sequenceNumber);
    Put32(bytes, 24, descriptorCount);
    Put32(bytes, 28, reserved);
    PutBytes(bytes, 32, logGuid);
    Put64(bytes, 48, flushedFileOffset);
    Put64(bytes, 56, lastFileOffset);
    PutBytes(bytes, 64, rest);
    PutChecksum(bytes, checksum, entryLength);
    return bytes;
}

}  // namespace NTest
