#include "vhdx_disk/log/log_sequence.h"

#include <algorithm>
#include <map>
#include <set>

namespace NVHDXDisk {

namespace {

/// The valid entries of a log by their position. No two of them overlap, because no sector inside
/// an entry begins like an entry.
using CEntries = std::map<std::uint32_t, CLogEntry>;

CEntries FindEntries(const IByteSource& source, const CLogArea& area, CFailure& refusal) {
    CEntries entries;
    for (std::uint64_t position = 0; position < area.length; position += LogSectorSize) {
        const auto inLog = static_cast<std::uint32_t>(position);
        if (const auto entry = ReadLogEntry(source, area, inLog, refusal)) {
            entries.emplace(inLog, *entry);
        }
        if (refusal.kind != CFailure::none) {
            return {};
        }
    }
    return entries;
}

/// The entry right behind another one, when it carries the next sequence number.
const CLogEntry* Successor(const CEntries& entries, const CLogArea& area, const CLogEntry& entry) {
    const std::uint64_t behind = (std::uint64_t{entry.position} + entry.length) % area.length;
    const auto found = entries.find(static_cast<std::uint32_t>(behind));
    const bool follows =
        found != entries.end() && found->second.sequenceNumber == entry.sequenceNumber + 1;
    return follows ? &found->second : nullptr;
}

/// The positions of all entries that continue a sequence.
std::set<std::uint32_t> Continuations(const CEntries& entries, const CLogArea& area) {
    std::set<std::uint32_t> continuations;
    for (const auto& [position, entry] : entries) {
        if (const CLogEntry* const next = Successor(entries, area, entry)) {
            continuations.insert(next->position);
        }
    }
    return continuations;
}

/// The sequence numbers grow from entry to entry, so the row ends.
std::vector<CLogEntry> SequenceFrom(const CEntries& entries, const CLogArea& area,
                                    const CLogEntry& first) {
    std::vector<CLogEntry> sequence;
    for (const CLogEntry* entry = &first; entry != nullptr;
         entry = Successor(entries, area, *entry)) {
        sequence.push_back(*entry);
    }
    return sequence;
}

/// Drops the entries before the tail; all of them when the tail is not in the sequence, which has
/// at least one entry.
void KeepPending(std::vector<CLogEntry>& sequence) {
    const std::uint32_t tail = sequence.back().tail;
    const auto oldest =
        std::find_if(sequence.begin(), sequence.end(),
                     [tail](const CLogEntry& entry) { return entry.position == tail; });
    sequence.erase(sequence.begin(), oldest);
}

}  // namespace

std::vector<CLogEntry> FindActiveSequence(const IByteSource& source, const CLogArea& area,
                                          CFailure& refusal) {
    const CEntries entries = FindEntries(source, area, refusal);
    const std::set<std::uint32_t> continuations = Continuations(entries, area);
    std::vector<CLogEntry> active;
    for (const auto& [position, entry] : entries) {
        if (continuations.count(position) != 0) {
            continue;
        }
        std::vector<CLogEntry> sequence = SequenceFrom(entries, area, entry);
        KeepPending(sequence);
        if (!sequence.empty() &&
            (active.empty() || sequence.back().sequenceNumber > active.back().sequenceNumber)) {
            active = std::move(sequence);
        }
    }
    return active;
}

}  // namespace NVHDXDisk
