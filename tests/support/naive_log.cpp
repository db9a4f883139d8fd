#include "tests/support/naive_log.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

namespace NTest {
namespace {

constexpr std::uint64_t sectorSize = 4096;
/// No file is longer.
constexpr std::uint64_t largestPosition = 0x7FFFFFFFFFFFFFFF;

std::uint64_t Number(std::span<const unsigned char> bytes, std::size_t offset, std::size_t width) {
    return LittleEndian(bytes.subspan(offset, width));
}

bool BeginsWith(std::span<const unsigned char> bytes, std::string_view text) {
    return std::equal(text.begin(), text.end(), bytes.begin(),
                      [](char letter, unsigned char byte) { return letter == char(byte); });
}

/// The checksum is in bytes 4 to 7, and taken as zero.
bool IsChecksumRight(CBytes structure) {
    const std::uint64_t expected = Number(structure, 4, 4);
    std::fill_n(structure.begin() + 4, 4, static_cast<unsigned char>(0));
    return Crc32c(structure) == expected;
}

struct CHead {
    std::uint64_t sequenceNumber = 0;
    CBytes logGuid;
    std::uint64_t logVersion = 0;
    std::uint64_t logLength = 0;
    std::uint64_t logOffset = 0;
};

std::optional<CHead> HeadAt(const CNaiveBytes& file, std::uint64_t position) {
    CBytes bytes(4096);
    if (!file.Read(position, bytes) || !BeginsWith(bytes, "head") || !IsChecksumRight(bytes)) {
        return std::nullopt;
    }
    return CHead{Number(bytes, 8, 8), CBytes(bytes.begin() + 48, bytes.begin() + 64),
                 Number(bytes, 64, 2), Number(bytes, 68, 4), Number(bytes, 72, 8)};
}

std::optional<CHead> CurrentHead(const CNaiveBytes& file) {
    auto first = HeadAt(file, 64 * KiB);
    auto second = HeadAt(file, 128 * KiB);
    const bool isSecond = second && (!first || second->sequenceNumber > first->sequenceNumber);
    return isSecond ? second : first;
}

struct CEntry {
    std::uint64_t position = 0;
    std::uint64_t length = 0;
    std::uint64_t tail = 0;
    std::uint64_t sequenceNumber = 0;
    std::uint64_t flushedFileOffset = 0;
    std::uint64_t lastFileOffset = 0;
    std::vector<CNaiveReplay::CWrite> writes;
};

/// The log as a ring.
class CLog {
public:
    CLog(const CNaiveBytes& file, const CHead& head) : m_file(file), m_head(head) {}

    CBytes Bytes(std::uint64_t position, std::uint64_t length) const {
        CBytes bytes(static_cast<std::size_t>(length));
        const auto atEnd = static_cast<std::size_t>(std::min(length, m_head.logLength - position));
        const std::span<unsigned char> all(bytes);
        m_file.Read(m_head.logOffset + position, all.first(atEnd));
        m_file.Read(m_head.logOffset, all.subspan(atEnd));
        return bytes;
    }

    std::optional<CEntry> EntryAt(std::uint64_t position) const;

private:
    const CNaiveBytes& m_file;
    const CHead& m_head;
};

/// What the descriptors and the data sectors of an entry write; none where one of them is wrong.
std::optional<std::vector<CNaiveReplay::CWrite>> WritesOf(std::span<const unsigned char> entry,
                                                          std::uint64_t sequenceNumber) {
    const std::uint64_t count = Number(entry, 24, 4);
    std::uint64_t nextSector = (64 + 32 * count + sectorSize - 1) / sectorSize;
    if (nextSector * sectorSize > entry.size()) {
        return std::nullopt;
    }
    std::vector<CNaiveReplay::CWrite> writes;
    for (std::uint64_t index = 0; index < count; ++index) {
        const auto descriptor = entry.subspan(static_cast<std::size_t>(64 + 32 * index), 32);
        const bool isZero = BeginsWith(descriptor, "zero");
        const std::uint64_t length = isZero ? Number(descriptor, 8, 8) : sectorSize;
        const std::uint64_t position = Number(descriptor, 16, 8);
        if (!(isZero || BeginsWith(descriptor, "desc")) ||
            Number(descriptor, 24, 8) != sequenceNumber || position % sectorSize != 0 ||
            length % sectorSize != 0 || length > largestPosition ||
            position > largestPosition - length) {
            return std::nullopt;
        }
        writes.push_back({position, length, {}});
        if (isZero) {
            continue;
        }
        if ((nextSector + 1) * sectorSize > entry.size()) {
            return std::nullopt;
        }
        const auto sector =
            entry.subspan(static_cast<std::size_t>(nextSector++ * sectorSize), sectorSize);
        if (!BeginsWith(sector, "data") || Number(sector, 4, 4) != sequenceNumber >> 32 ||
            Number(sector, 4092, 4) != (sequenceNumber & 0xFFFFFFFF)) {
            return std::nullopt;
        }
        CBytes& bytes = writes.back().bytes;
        bytes.assign(sector.begin(), sector.end());
        std::copy_n(descriptor.begin() + 8, 8, bytes.begin());
        std::copy_n(descriptor.begin() + 4, 4, bytes.begin() + 4092);
    }
    return nextSector * sectorSize == entry.size() ? std::optional(writes) : std::nullopt;
}

std::optional<CEntry> CLog::EntryAt(std::uint64_t position) const {
    const CBytes start = Bytes(position, 64);
    const CEntry entry{position,
                       Number(start, 8, 4),
                       Number(start, 12, 4),
                       Number(start, 16, 8),
                       Number(start, 48, 8),
                       Number(start, 56, 8),
                       {}};
    if (!BeginsWith(start, "loge") || entry.length == 0 || entry.length % sectorSize != 0 ||
        entry.length > m_head.logLength || entry.tail % sectorSize != 0 ||
        entry.tail >= m_head.logLength || entry.sequenceNumber == 0 ||
        !std::equal(m_head.logGuid.begin(), m_head.logGuid.end(), start.begin() + 32)) {
        return std::nullopt;
    }
    const CBytes bytes = Bytes(position, entry.length);
    auto writes = WritesOf(bytes, entry.sequenceNumber);
    if (!writes || !IsChecksumRight(bytes)) {
        return std::nullopt;
    }
    std::optional<CEntry> whole = entry;
    whole->writes = std::move(*writes);
    return whole;
}

using CEntries = std::map<std::uint64_t, CEntry>;
using CSequence = std::vector<const CEntry*>;

CSequence SequenceFrom(const CEntries& entries, const CEntry& first, std::uint64_t logLength) {
    CSequence sequence = {&first};
    for (;;) {
        const CEntry& last = *sequence.back();
        const auto next = entries.find((last.position + last.length) % logLength);
        if (next == entries.end() || next->second.sequenceNumber != last.sequenceNumber + 1) {
            return sequence;
        }
        sequence.push_back(&next->second);
    }
}

/// From the tail that the last entry names to the last entry; empty where it is not among them.
CSequence PendingIn(const CSequence& sequence) {
    const auto tail = std::find_if(sequence.begin(), sequence.end(), [&](const CEntry* entry) {
        return entry->position == sequence.back()->tail;
    });
    return {tail, sequence.end()};
}

/// The pending entries of the sequence with the greatest number; `isAmbiguous` where there are two.
CSequence FindPending(const CEntries& entries, std::uint64_t logLength, bool& isAmbiguous) {
    CSequence best;
    for (const auto& [position, entry] : entries) {
        const CSequence pending = PendingIn(SequenceFrom(entries, entry, logLength));
        if (pending.empty()) {
            continue;
        }
        const std::uint64_t number = pending.back()->sequenceNumber;
        if (best.empty() || number > best.back()->sequenceNumber) {
            best = pending;
            isAmbiguous = false;
        } else if (number == best.back()->sequenceNumber && pending != best) {
            isAmbiguous = true;
        }
    }
    return best;
}

bool IsLogPlace(const CHead& head, const CNaiveBytes& file) {
    return head.logVersion == 0 && head.logLength != 0 && head.logLength % MiB == 0 &&
           head.logOffset != 0 && head.logOffset % MiB == 0 &&
           file.Holds(head.logOffset, head.logLength);
}

CEntries EntriesOf(const CNaiveBytes& file, const CHead& head) {
    const CLog log(file, head);
    CEntries entries;
    for (std::uint64_t position = 0; position < head.logLength; position += sectorSize) {
        if (auto entry = log.EntryAt(position)) {
            entries.emplace(position, std::move(*entry));
        }
    }
    return entries;
}

}  // namespace

bool CNaiveBytes::Read(std::uint64_t position, std::span<unsigned char> bytes) const {
    if (!Holds(position, bytes.size())) {
        return false;
    }
    if (!bytes.empty()) {
        read(position, bytes);
    }
    return true;
}

CNaiveReplay::CNaiveReplay(CNaiveBytes stored)
    : m_stored(std::move(stored)), m_size(m_stored.size) {}

CNaiveReplay CNaiveReplay::AsItStands(CNaiveBytes stored) {
    return CNaiveReplay(std::move(stored));
}

CNaiveReplay CNaiveReplay::Of(CNaiveBytes stored) {
    CNaiveReplay replay(std::move(stored));
    replay.Replay();
    return replay;
}

void CNaiveReplay::Replay() {
    const auto head = CurrentHead(m_stored);
    if (!head || head->logGuid == CBytes(16)) {
        m_answer = head ? nothingPending : noHeader;
        return;
    }
    m_answer = refused;
    if (!IsLogPlace(*head, m_stored)) {
        return;
    }
    bool isAmbiguous = false;
    const CEntries entries = EntriesOf(m_stored, *head);
    const CSequence pending = FindPending(entries, head->logLength, isAmbiguous);
    if (pending.empty() || std::any_of(pending.begin(), pending.end(), [&](const CEntry* entry) {
            return entry->flushedFileOffset > m_stored.size ||
                   entry->lastFileOffset > largestPosition;
        })) {
        m_answer = isAmbiguous ? ambiguous : refused;
        return;
    }
    for (const CEntry* const entry : pending) {
        m_size = std::max(m_size, entry->lastFileOffset);
        for (const CWrite& write : entry->writes) {
            m_size = std::max(m_size, write.length == 0 ? 0 : write.begin + write.length);
            m_writes.push_back(write);
        }
    }
    m_entryCount = pending.size();
    m_answer = isAmbiguous ? ambiguous : replayed;
}

bool CNaiveReplay::Read(std::uint64_t position, std::span<unsigned char> bytes) const {
    if (position > m_size || bytes.size() > m_size - position) {
        return false;
    }
    const std::uint64_t stored =
        position < m_stored.size ? std::min<std::uint64_t>(bytes.size(), m_stored.size - position)
                                 : 0;
    m_stored.Read(position, bytes.first(static_cast<std::size_t>(stored)));
    std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(stored), bytes.end(),
              static_cast<unsigned char>(0));
    for (const CWrite& write : m_writes) {
        const std::uint64_t begin = std::max(position, write.begin);
        const std::uint64_t end = std::min(position + bytes.size(), write.begin + write.length);
        for (std::uint64_t at = begin; at < end; ++at) {
            bytes[static_cast<std::size_t>(at - position)] =
                write.bytes.empty() ? 0 : write.bytes[static_cast<std::size_t>(at - write.begin)];
        }
    }
    return true;
}

bool CNaiveReplay::IsFromLog(std::uint64_t position) const {
    return position >= m_stored.size ||
           std::any_of(m_writes.begin(), m_writes.end(), [position](const CWrite& write) {
               return position >= write.begin && position - write.begin < write.length;
           });
}

}  // namespace NTest
