#include "vhdx_disk/table/block_index.h"

#include <algorithm>

#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/table/run_joiner.h"
#include "vhdx_disk/table/table_scan.h"
#include "vhdx_parser/blocks/bat_entry.h"
#include "vhdx_parser/blocks/geometry.h"
#include "vhdx_parser/blocks/units.h"

namespace NVHDXDisk {

namespace {

using NVHDX::CPayloadBlock;

bool HoldsBytes(CPayloadBlock::EState state) {
    return state == CPayloadBlock::FullyPresent || state == CPayloadBlock::PartiallyPresent;
}

/// How many blocks from the first one on lie in the file, behind its first MiB, which is never a
/// block's.
std::uint64_t CountInFile(const CBlockRun& run, const CGeometry& geometry, std::uint64_t fileSize) {
    if (run.position == 0 || run.position >= fileSize) {
        return 0;
    }
    const std::uint64_t whole = (fileSize - run.position) / geometry.blockSize;
    if (whole >= run.count) {
        return run.count;
    }
    const std::uint64_t left = fileSize - run.position - whole * geometry.blockSize;
    const std::uint64_t start = (run.firstBlock + whole) * geometry.blockSize;
    return geometry.virtualSize - start <= left ? whole + 1 : whole;
}

/// How many blocks claim places that are not in the file, up to the next one that may be.
std::uint64_t CountOutside(const CBlockRun& run, std::uint32_t blockSize) {
    // Behind the largest position of all the places begin again at 0.
    return run.position == 0
               ? 1
               : std::min(run.count, NVHDX::DivideRoundingUp(~run.position + 1, blockSize));
}

/// The first `count` blocks of the run, which keeps the others.
CIndexRun Take(CBlockRun& run, std::uint64_t count, std::uint32_t blockSize, bool isInFile) {
    CIndexRun taken{run, isInFile};
    taken.count = count;
    run.firstBlock += count;
    run.count -= count;
    run.position += count * blockSize;
    return taken;
}

std::optional<std::uint64_t> BitmapPlace(const NVHDX::CBATEntry& entry, std::uint64_t fileSize) {
    const std::uint64_t mebibytes = entry.FileOffsetMB();
    if (!entry.IsSectorBitmapPresent() || mebibytes == 0 ||
        mebibytes >= fileSize / NVHDX::Mebibyte) {
        return std::nullopt;
    }
    return NVHDX::BytesFromMebibytes(mebibytes);
}

}  // namespace

bool CBlockIndex::Load(const ITableEntries& entries, const CGeometry& geometry,
                       const IByteSource& file, CFailure& failure) {
    CTableScan scan(geometry);
    CRunJoiner runs(geometry.blockSize, CRunJoiner::readsAsZeros,
                    [&](const CBlockRun& run) { AddRun(run, geometry, file.Size()); });
    const auto join = [&runs](std::span<const std::uint64_t> words) { runs.Add(words); };
    CFailure cause;
    const bool complete = entries.ForEach(
        [&](const CTablePiece& piece) {
            scan.Add(piece, join);
            if (piece.isBitmap) {
                m_sectorBitmaps.push_back(
                    BitmapPlace(NVHDX::CBATEntry(piece.words.front()), file.Size()));
            }
            return true;
        },
        cause);
    runs.Finish();
    return (complete && scan.IsValid()) ||
           FailBecause(cause, failure, CFailure::damaged, file.Path(), NoBlockTable);
}

void CBlockIndex::AddRun(CBlockRun run, const CGeometry& geometry, std::uint64_t fileSize) {
    if (run.state == CPayloadBlock::NotPresent) {
        return;
    }
    if (!HoldsBytes(run.state)) {
        m_runs.push_back({run, true});
        return;
    }
    while (run.count != 0) {
        if (const std::uint64_t count = CountInFile(run, geometry, fileSize); count != 0) {
            m_runs.push_back(Take(run, count, geometry.blockSize, true));
        } else {
            m_runs.push_back(
                Take(run, CountOutside(run, geometry.blockSize), geometry.blockSize, false));
        }
    }
}

const CIndexRun* CBlockIndex::RunFrom(std::uint64_t block) const {
    const auto found = std::partition_point(
        m_runs.begin(), m_runs.end(),
        [block](const CIndexRun& run) { return run.firstBlock + run.count <= block; });
    return found == m_runs.end() ? nullptr : &*found;
}

std::optional<std::uint64_t> CBlockIndex::SectorBitmap(std::uint64_t chunk) const {
    return chunk < m_sectorBitmaps.size() ? m_sectorBitmaps[static_cast<std::size_t>(chunk)]
                                          : std::nullopt;
}

}  // namespace NVHDXDisk
