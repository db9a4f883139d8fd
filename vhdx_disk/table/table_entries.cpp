#include "vhdx_disk/table/table_entries.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/source/read_bytes.h"
#include "vhdx_disk/table/region_place.h"
#include "vhdx_parser/blocks/bat_entry.h"
#include "vhdx_parser/blocks/geometry.h"

namespace NVHDXDisk {

namespace {

using NVHDX::BATEntrySize;
using NVHDX::CBATEntry;

constexpr std::uint64_t EntriesAtOnce = 8192;

/// `first` * `second`, or the largest number.
std::uint64_t Product(std::uint64_t first, std::uint64_t second) {
    constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
    return first > largest / second ? largest : first * second;
}

std::uint64_t BitmapWord(const NVHDX::CBlockChunk& chunk) {
    constexpr std::int32_t present = 2;
    const NVHDX::CSectorBitmapBlock* const block = chunk.getSectorBitmatBlock().get();
    if (block == nullptr || block->state != present) {
        return 0;
    }
    return CBATEntry::Of({block->offset, NVHDX::CPayloadBlock::FullyPresent}).Word();
}

}  // namespace

std::uint64_t EntryCount(const CGeometry& geometry) {
    NVHDX::CFileParameters params;
    params.payloadblksz = geometry.blockSize;
    params.virtdisksz = geometry.virtualSize;
    params.bDifferencing = geometry.hasParent;
    return NVHDX::CountBAT(params, static_cast<std::uint32_t>(geometry.ratio)).entries;
}

bool CEntriesInFile::ForEach(std::uint64_t firstChunk, std::uint64_t chunks,
                             const CTablePieceCallback& callback, CFailure& failure) const {
    const std::uint64_t group = m_ratio + 1;
    const std::uint64_t first = std::min(m_count, Product(firstChunk, group));
    const std::uint64_t end = first + std::min(m_count - first, Product(chunks, group));
    std::vector<unsigned char> bytes(
        static_cast<std::size_t>(std::min(EntriesAtOnce, end - first) * BATEntrySize));
    std::vector<std::uint64_t> words(bytes.size() / BATEntrySize);
    for (std::uint64_t entry = first; entry < end;) {
        const auto here = static_cast<std::size_t>(std::min(EntriesAtOnce, end - entry));
        if (!ReadBytes(*m_source, m_position + entry * BATEntrySize, bytes.data(),
                       here * BATEntrySize, failure)) {
            return false;
        }
        for (std::size_t i = 0; i < here; ++i) {
            words[i] = CBATEntry(bytes.data() + i * BATEntrySize).Word();
        }
        if (!Split(std::span(words).first(here), entry, callback)) {
            return true;
        }
        entry += here;
    }
    return true;
}

/// Cuts where payload entries and the sector bitmap entry behind each chunk's meet.
bool CEntriesInFile::Split(std::span<const std::uint64_t> words, std::uint64_t entry,
                           const CTablePieceCallback& callback) const {
    const std::uint64_t group = m_ratio + 1;
    while (!words.empty()) {
        const std::uint64_t chunk = entry / group;
        const std::uint64_t inGroup = entry % group;
        const bool isBitmap = inGroup == m_ratio;
        const auto count = static_cast<std::size_t>(
            isBitmap ? 1 : std::min<std::uint64_t>(words.size(), m_ratio - inGroup));
        const std::uint64_t index = isBitmap ? chunk : chunk * m_ratio + inGroup;
        if (!callback({isBitmap, index, m_position + entry * BATEntrySize, words.first(count)})) {
            return false;
        }
        words = words.subspan(count);
        entry += count;
    }
    return true;
}

bool CEntriesOfModel::ForEach(std::uint64_t firstChunk, std::uint64_t chunks,
                              const CTablePieceCallback& callback, CFailure&) const {
    const std::uint64_t count = m_blocks->chunks.size();
    const std::uint64_t first = std::min(firstChunk, count);
    const std::uint64_t end = first + std::min(chunks, count - first);
    std::vector<std::uint64_t> words;
    for (std::uint64_t index = first; index < end; ++index) {
        const NVHDX::CBlockChunk& chunk = m_blocks->chunks[static_cast<std::size_t>(index)];
        words.clear();
        for (const NVHDX::CPayloadBlock& block : chunk.getPayloadBlocks()) {
            words.push_back(CBATEntry::Of(block).Word());
        }
        const std::uint64_t bitmap = BitmapWord(chunk);
        if (!callback({false, index * m_blocks->ratio, 0, words}) ||
            !callback({true, index, 0, std::span(&bitmap, 1)})) {
            return true;
        }
    }
    return true;
}

std::shared_ptr<const ITableEntries> FindTable(const CSourcePointer& source,
                                               const CGeometry& geometry, CFailure& failure) {
    CFailure cause;
    const auto place = FindRegionPlace(*source, NVHDX::CAccessor::CRegion::typeBAT, cause);
    const std::uint64_t count = EntryCount(geometry);
    if (!place || count > place->length / BATEntrySize) {
        FailBecause(cause, failure, CFailure::damaged, source->Path(), NoBlockTable);
        return nullptr;
    }
    return std::make_shared<const CEntriesInFile>(source, place->begin, count, geometry.ratio);
}

}  // namespace NVHDXDisk
