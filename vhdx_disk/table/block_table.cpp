#include <vhdx_disk/block_table.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/table/run_joiner.h"
#include "vhdx_disk/table/table_scan.h"
#include "vhdx_parser/blocks/bat_entry.h"

namespace NVHDXDisk {

namespace {

using NVHDX::CBlockChunk;

/// More runs of a table are read again rather than kept.
constexpr std::size_t MostKeptRuns = 65536;

using CBlockWords = std::span<const std::uint64_t>;

/// What a walk over runs hands on, until the callback wants no more.
class CRunWalk {
public:
    CRunWalk(std::uint32_t blockSize, CBlockRunCallback callback)
        : m_callback(std::move(callback)),
          m_joiner(blockSize, CRunJoiner::hasPlaces,
                   [this](const CBlockRun& run) { m_goesOn = m_goesOn && m_callback(run); }) {}
    CRunWalk(const CRunWalk&) = delete;
    CRunWalk& operator=(const CRunWalk&) = delete;

    bool Add(CBlockWords words) {
        m_joiner.Add(words);
        return m_goesOn;
    }
    void Finish() { m_joiner.Finish(); }

private:
    CBlockRunCallback m_callback;
    bool m_goesOn = true;
    CRunJoiner m_joiner;
};

CGeometry GeometryOf(const NVHDX::CFileParameters& params, std::uint64_t ratio) {
    return {params.payloadblksz, params.logsectsz, params.virtdisksz, ratio, params.bDifferencing};
}

void FillPayload(CBlockChunk& chunk, CBlockWords words) {
    for (const std::uint64_t word : words) {
        const NVHDX::CPayloadBlock block = NVHDX::CBATEntry(word);
        chunk.InitPayloadBlock(block.state, block.offset);
    }
}

/// As loading leaves a chunk: without a parent it says that there is none.
void FillBitmap(CBlockChunk& chunk, const NVHDX::CBATEntry& entry) {
    constexpr std::int32_t present = 2;
    if (entry.IsSectorBitmapPresent()) {
        auto block = std::make_unique<NVHDX::CSectorBitmapBlock>();
        block->offset = entry.FileOffsetMB();
        block->state = present;
        chunk.Set(block);
    }
}

}  // namespace

struct CBlockTable::CParts {
    CGeometry geometry;
    std::filesystem::path file;
    std::shared_ptr<const ITableEntries> entries;
    NVHDX::CFileParameters parameters;
    CBlockSummary summary;
    bool hasRuns = false;
    std::vector<CBlockRun> runs;

    /// The words of the blocks that the disk has.
    bool ForEachWord(const std::function<bool(CBlockWords)>& report, CFailure& failure) const;
    bool Scan(ERuns wanted, CFailure& failure);
};

bool CBlockTable::CParts::ForEachWord(const std::function<bool(CBlockWords)>& report,
                                      CFailure& failure) const {
    const std::uint64_t blocks = geometry.BlockCount();
    return entries->ForEach(
        [&](const CTablePiece& piece) {
            const std::uint64_t left = blocks - std::min(blocks, piece.index);
            return piece.isBitmap || report(piece.words.first(static_cast<std::size_t>(
                                         std::min<std::uint64_t>(left, piece.words.size()))));
        },
        failure);
}

bool CBlockTable::CParts::Scan(ERuns wanted, CFailure& failure) {
    CTableScan scan(geometry);
    hasRuns = wanted == runsWanted;
    CRunWalk walk(geometry.blockSize, [this](const CBlockRun& run) {
        runs.push_back(run);
        hasRuns = runs.size() <= MostKeptRuns;
        return hasRuns;
    });
    const auto join = [&](CBlockWords words) {
        if (hasRuns) {
            walk.Add(words);
        }
    };
    CFailure cause;
    const bool complete = entries->ForEach(
        [&](const CTablePiece& piece) {
            scan.Add(piece, join);
            return true;
        },
        cause);
    if (!complete || !scan.IsValid()) {
        return FailBecause(cause, failure, CFailure::damaged, file, NoBlockTable);
    }
    walk.Finish();
    parameters = scan.Parameters();
    summary = scan.Summary();
    if (!hasRuns) {
        runs = {};
    }
    return true;
}

CBlockTable::CBlockTable() : m_parts(std::make_unique<CParts>()) {}

CBlockTable::~CBlockTable() = default;

std::shared_ptr<const CBlockTable> CBlockTable::Open(const CSourcePointer& replayed,
                                                     const CGeometry& geometry, ERuns runs,
                                                     CFailure& failure) {
    if (geometry.ratio == 0 || geometry.blockSize == 0) {
        Fail(failure, CFailure::damaged, replayed->Path(), NoBlockTable);
        return nullptr;
    }
    const std::shared_ptr<CBlockTable> table(new CBlockTable);
    table->m_parts->geometry = geometry;
    table->m_parts->file = replayed->Path();
    table->m_parts->entries = FindTable(replayed, geometry, failure);
    return table->m_parts->entries != nullptr && table->m_parts->Scan(runs, failure) ? table
                                                                                     : nullptr;
}

std::shared_ptr<const CBlockTable> CBlockTable::Of(std::shared_ptr<const NVHDX::CBlocks> blocks,
                                                   const NVHDX::CFileParameters& parameters) {
    if (blocks->ratio == 0 || parameters.payloadblksz == 0) {
        return nullptr;
    }
    const std::shared_ptr<CBlockTable> table(new CBlockTable);
    CParts& parts = *table->m_parts;
    CFailure none;  // entries in memory can always be read
    parts.geometry = GeometryOf(parameters, blocks->ratio);
    parts.entries = std::make_shared<const CEntriesOfModel>(std::move(blocks));
    parts.parameters = parameters;
    (void)parts.ForEachWord(
        [&parts](CBlockWords words) {
            parts.summary.Add(words);
            return true;
        },
        none);
    return table;
}

const NVHDX::CFileParameters& CBlockTable::Parameters() const {
    return m_parts->parameters;
}

std::uint64_t CBlockTable::BlockCount() const {
    return m_parts->geometry.BlockCount();
}

std::uint64_t CBlockTable::Count(NVHDX::CPayloadBlock::EState state) const {
    return m_parts->summary.Count(state);
}

bool CBlockTable::Runs(const CBlockRunCallback& callback, CFailure& failure) const {
    if (m_parts->hasRuns) {
        (void)std::all_of(m_parts->runs.begin(), m_parts->runs.end(), callback);
        return true;
    }
    CRunWalk walk(m_parts->geometry.blockSize, callback);
    const bool complete =
        m_parts->ForEachWord([&walk](CBlockWords words) { return walk.Add(words); }, failure);
    walk.Finish();
    return complete;
}

bool CBlockTable::LoadBlocks(NVHDX::CBlocks& blocks, std::uint64_t offset, std::uint64_t length,
                             CFailure& failure) const {
    const CGeometry& geometry = m_parts->geometry;
    if (offset > geometry.virtualSize || length > geometry.virtualSize - offset) {
        return Fail(failure, CFailure::outOfRange, m_parts->file,
                    "the range reaches past the end of the virtual disk");
    }
    const std::uint64_t chunkSize = geometry.ratio * geometry.blockSize;
    const std::uint64_t first = offset / chunkSize;
    const std::uint64_t end = length == 0 ? first : (offset + length - 1) / chunkSize + 1;
    NVHDX::CBlocks loaded;
    loaded.ratio = geometry.ratio;
    loaded.chunks.resize(static_cast<std::size_t>(geometry.ChunkCount()));
    const auto fill = [&](const CTablePiece& piece) {
        const std::uint64_t index = piece.isBitmap ? piece.index : piece.index / geometry.ratio;
        CBlockChunk& chunk = loaded.chunks[static_cast<std::size_t>(index)];
        if (!piece.isBitmap) {
            FillPayload(chunk, piece.words);
        } else if (geometry.hasParent) {
            FillBitmap(chunk, NVHDX::CBATEntry(piece.words.front()));
        }
        return true;
    };
    if (!m_parts->entries->ForEach(first, end - first, fill, failure)) {
        return false;
    }
    for (CBlockChunk& chunk : loaded.chunks) {
        if (!geometry.hasParent) {
            chunk.SetNoSectorBitmap();
        }
    }
    blocks = std::move(loaded);
    return true;
}

}  // namespace NVHDXDisk
