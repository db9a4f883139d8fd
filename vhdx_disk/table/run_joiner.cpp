#include "vhdx_disk/table/run_joiner.h"

#include "vhdx_parser/blocks/bat_entry.h"

namespace NVHDXDisk {

using NVHDX::CBATEntry;

void CRunJoiner::Add(std::span<const std::uint64_t> words) {
    while (!words.empty()) {
        const std::size_t count = Continue(words);
        m_next += count;
        words = words.subspan(count);
        if (!words.empty()) {
            Finish();
            Begin(words.front());
        }
    }
}

/// How many of the words go on with the run. Nothing but a comparison for each of them, since a
/// disk may have 64 Mi blocks in a single run.
std::size_t CRunJoiner::Continue(std::span<const std::uint64_t> words) {
    std::size_t count = 0;
    std::uint64_t expected = m_expected;
    while (count != words.size() && (words[count] & m_mask) == expected) {
        expected += m_stride;
        ++count;
    }
    m_expected = expected;
    return count;
}

/// Data goes on where the state is the same and the place is the next one, anything else wherever
/// the state is the same.
void CRunJoiner::Begin(std::uint64_t word) {
    const CBATEntry entry(word);
    const bool hasPlace =
        entry.HasData() &&
        (m_undefined == hasPlaces || entry.PayloadState() != NVHDX::CPayloadBlock::Undefined);
    m_mask = CBATEntry::StateMask | (hasPlace ? CBATEntry::OffsetMask : 0);
    m_stride = hasPlace ? m_blockSize : 0;
    m_first = word;
    m_expected = word & m_mask;
    m_begin = m_next;
}

void CRunJoiner::Finish() {
    if (m_next != m_begin) {
        const CBATEntry first(m_first);
        m_report(
            {m_begin, m_next - m_begin, first.PayloadState(), m_first & CBATEntry::OffsetMask});
    }
}

}  // namespace NVHDXDisk
