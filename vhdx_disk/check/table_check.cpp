#include "vhdx_disk/check/table_check.h"

#include <algorithm>

#include "vhdx_disk/check/table_overlaps.h"
#include "vhdx_disk/check/table_problems.h"
#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/table/table_entries.h"
#include "vhdx_parser/blocks/geometry.h"

namespace NVHDXDisk {

namespace {

/// Whether the state is one that a payload entry of any disk can have.
bool IsAnyState(const NVHDX::CBATEntry& entry) {
    return (NVHDX::PayloadStateBitsWithParent >> entry.StateBits() & 1) != 0;
}

class CTableChecker {
public:
    CTableChecker(const IByteSource& source, const CTablePlace& place, const CGeometry& geometry,
                  const CFindingSink& findings)
        : m_source(source),
          m_place(place),
          m_geometry(geometry),
          m_findings(findings),
          m_problems(findings),
          m_overlaps(source.Size(), place.taken) {}

    void Check(const CSourcePointer& source) {
        const CEntriesInFile entries(source, m_place.region.begin, EntriesInRegion(),
                                     m_geometry.ratio);
        CFailure cause;
        const bool complete = ForEach(
            entries, [this](const CCheckedEntry& entry) { CheckEntry(entry); }, cause);
        m_problems.Finish();
        if (!complete && !IsRefused(cause)) {
            m_findings.Add(EFinding::batUnreadable, AtOffset(m_place.region.begin),
                           "the block allocation table cannot be read to its end");
        }
        if (m_overlaps.HasUnknownOwners()) {
            const auto name = [this](const CCheckedEntry& entry) {
                if (IsClaim(entry)) {
                    m_overlaps.NameOwner(entry, m_geometry);
                }
            };
            (void)ForEach(entries, name, cause);
        }
        m_overlaps.Report(m_findings);
    }

private:
    template <class TReport>
    static bool ForEach(const ITableEntries& entries, TReport report, CFailure& cause) {
        return entries.ForEach(
            [&report](const CTablePiece& piece) {
                CCheckedEntry entry{piece.isBitmap, piece.index, piece.position,
                                    NVHDX::CBATEntry(std::uint64_t{0})};
                for (const std::uint64_t word : piece.words) {
                    entry.entry = NVHDX::CBATEntry(word);
                    report(entry);
                    ++entry.index;
                    entry.position += NVHDX::BATEntrySize;
                }
                return true;
            },
            cause);
    }

    /// The entries that the disk needs, or as many of them as the region has room for.
    std::uint64_t EntriesInRegion() const {
        const std::uint64_t room = m_place.region.length / NVHDX::BATEntrySize;
        const std::uint64_t needed = EntryCount(m_geometry);
        if (needed > room) {
            m_findings.Add(EFinding::batTooSmall, AtOffset(m_place.region.begin),
                           Sentence("the block allocation table has room for ", room,
                                    " entries, and the disk needs ", needed));
        }
        return std::min(room, needed);
    }

    void CheckEntry(const CCheckedEntry& entry) {
        if (entry.entry.ReservedBits() != 0) {
            m_problems.Add(entry.isBitmap ? EFinding::bitmapReserved : EFinding::blockReserved,
                           entry);
        }
        if (entry.isBitmap) {
            CheckBitmap(entry);
            m_partialInChunk = false;
        } else if (entry.entry.Word() != 0) {
            CheckBlock(entry);
        }
        if (IsClaim(entry)) {
            m_overlaps.Claim(entry, m_geometry);
        }
    }

    void CheckBlock(const CCheckedEntry& entry) {
        // Readers refuse a table with such an entry anywhere, also behind the end of the disk.
        if (!IsAnyState(entry.entry)) {
            m_problems.Add(EFinding::blockState, entry);
        }
        if (entry.index >= m_geometry.BlockCount()) {
            if (entry.entry.StateBits() != 0) {
                m_problems.Add(EFinding::blockPastDisk, entry);
            }
            return;
        }
        if (entry.entry.PayloadState() == NVHDX::CPayloadBlock::PartiallyPresent) {
            m_partialInChunk = true;
            if (!m_geometry.hasParent) {
                m_problems.Add(EFinding::blockPartialWithoutParent, entry);
            }
        }
        CheckPlace(entry, EFinding::blockInHeader, EFinding::blockPastEnd);
    }

    void CheckBitmap(const CCheckedEntry& entry) {
        if (!entry.entry.IsSectorBitmapNotPresent() && !entry.entry.IsSectorBitmapPresent()) {
            m_problems.Add(EFinding::bitmapState, entry);
        } else if (entry.HoldsBytes() && !m_geometry.hasParent) {
            m_problems.Add(EFinding::bitmapWithoutParent, entry);
        }
        if (m_partialInChunk && m_geometry.hasParent && entry.entry.IsSectorBitmapNotPresent()) {
            m_problems.Add(EFinding::bitmapMissing, entry);
        }
        CheckPlace(entry, EFinding::bitmapInHeader, EFinding::bitmapPastEnd);
    }

    void CheckPlace(const CCheckedEntry& entry, EFinding inHeader, EFinding pastEnd) {
        if (!entry.HoldsBytes()) {
            return;
        }
        if (entry.FirstMebibyte() == 0) {
            m_problems.Add(inHeader, entry);
        } else if (!IsInFile(entry)) {
            m_problems.Add(pastEnd, entry);
        }
    }

    /// Of the last block only what belongs to the disk need be there.
    bool IsInFile(const CCheckedEntry& entry) const {
        std::uint64_t needed = NVHDX::Mebibyte;
        if (!entry.isBitmap) {
            needed = std::min<std::uint64_t>(
                m_geometry.blockSize, m_geometry.virtualSize - entry.index * m_geometry.blockSize);
        }
        const std::uint64_t begin = entry.FirstMebibyte() * NVHDX::Mebibyte;
        return CFilePlace{{}, begin, needed}.IsInside(m_source.Size());
    }

    bool IsClaim(const CCheckedEntry& entry) const {
        return entry.HoldsBytes() && entry.FirstMebibyte() != 0 &&
               (entry.isBitmap || entry.index < m_geometry.BlockCount()) && IsInFile(entry);
    }

    const IByteSource& m_source;
    const CTablePlace& m_place;
    const CGeometry& m_geometry;
    const CFindingSink& m_findings;
    CTableProblems m_problems;
    CTableOverlaps m_overlaps;
    bool m_partialInChunk = false;
};

}  // namespace

void CheckTable(const CSourcePointer& source, const CTablePlace& place, const CGeometry& geometry,
                const CFindingSink& findings) {
    CTableChecker(*source, place, geometry, findings).Check(source);
}

}  // namespace NVHDXDisk
