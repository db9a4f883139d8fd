#include "host/bat_check.h"

#include "host/bat_overlaps.h"
#include "host/bat_problems.h"

namespace NVHDXHost {

namespace {

class CBatChecker {
public:
    CBatChecker(const CBatPlace& place, const CCheckedGeometry& geometry,
                const CFindingSink& findings)
        : m_place(place),
          m_geometry(geometry),
          m_findings(findings),
          m_problems(findings),
          m_overlaps(place.fileSize, place.taken) {}

    void Check(CByteStream& stream) {
        const std::uint64_t count = EntriesInRegion();
        const auto forEach = [&](auto report) {
            return ForEachBatEntry(stream, m_place.region.begin, count, m_geometry, report);
        };
        const bool complete = forEach([this](const CBatEntry& entry) { CheckEntry(entry); });
        m_problems.Finish();
        if (!complete) {
            m_findings.Add("bat-unreadable", AtOffset(m_place.region.begin),
                           "the block allocation table cannot be read to its end");
        }
        if (m_overlaps.HasUnknownOwners()) {
            (void)forEach([this](const CBatEntry& entry) {
                if (IsClaim(entry)) {
                    m_overlaps.NameOwner(entry, m_geometry);
                }
            });
        }
        m_overlaps.Report(m_findings);
    }

private:
    /// The entries that the disk needs, or as many of them as the region has room for.
    std::uint64_t EntriesInRegion() const {
        const std::uint64_t room = m_place.region.length / 8;
        if (m_geometry.EntryCount() > room) {
            m_findings.Add("bat-too-small", AtOffset(m_place.region.begin),
                           Sentence("the block allocation table has room for ", room,
                                    " entries, and the disk needs ", m_geometry.EntryCount()));
        }
        return std::min(room, m_geometry.EntryCount());
    }

    void CheckEntry(const CBatEntry& entry) {
        if (entry.ReservedBits() != 0) {
            m_problems.Add(
                entry.isBitmap ? CBatProblems::bitmapReserved : CBatProblems::blockReserved, entry);
        }
        if (entry.isBitmap) {
            CheckBitmap(entry);
            m_partialInChunk = false;
        } else if (entry.word != 0) {
            CheckBlock(entry);
        }
        if (IsClaim(entry)) {
            m_overlaps.Claim(entry, m_geometry);
        }
    }

    void CheckBlock(const CBatEntry& entry) {
        if (entry.index >= m_geometry.BlockCount()) {
            if (entry.State() != CBatEntry::notPresent) {
                m_problems.Add(CBatProblems::blockPastDisk, entry);
            }
            return;
        }
        if (entry.State() == 4 || entry.State() == 5) {
            m_problems.Add(CBatProblems::blockState, entry);
        }
        if (entry.State() == CBatEntry::partiallyPresent) {
            m_partialInChunk = true;
            if (!m_geometry.hasParent) {
                m_problems.Add(CBatProblems::partialWithoutParent, entry);
            }
        }
        CheckPlace(entry, CBatProblems::blockInHeader, CBatProblems::blockPastEnd);
    }

    void CheckBitmap(const CBatEntry& entry) {
        if (entry.State() != CBatEntry::notPresent && entry.State() != CBatEntry::fullyPresent) {
            m_problems.Add(CBatProblems::bitmapState, entry);
        } else if (entry.HasData() && !m_geometry.hasParent) {
            m_problems.Add(CBatProblems::bitmapWithoutParent, entry);
        }
        if (m_partialInChunk && m_geometry.hasParent && entry.State() == CBatEntry::notPresent) {
            m_problems.Add(CBatProblems::bitmapMissing, entry);
        }
        CheckPlace(entry, CBatProblems::bitmapInHeader, CBatProblems::bitmapPastEnd);
    }

    void CheckPlace(const CBatEntry& entry, CBatProblems::EKind inHeader,
                    CBatProblems::EKind pastEnd) {
        if (!entry.HasData()) {
            return;
        }
        if (entry.FirstMebibyte() == 0) {
            m_problems.Add(inHeader, entry);
        } else if (!IsInFile(entry)) {
            m_problems.Add(pastEnd, entry);
        }
    }

    /// Of the last block only what belongs to the disk need be there.
    bool IsInFile(const CBatEntry& entry) const {
        std::uint64_t needed = CBatEntry::Mebibyte;
        if (!entry.isBitmap) {
            needed = std::min(m_geometry.blockSize,
                              m_geometry.virtualSize - entry.index * m_geometry.blockSize);
        }
        const std::uint64_t begin = entry.FirstMebibyte() * CBatEntry::Mebibyte;
        return CFilePlace{{}, begin, needed}.IsInside(m_place.fileSize);
    }

    bool IsClaim(const CBatEntry& entry) const {
        return entry.HasData() && entry.FirstMebibyte() != 0 &&
               (entry.isBitmap || entry.index < m_geometry.BlockCount()) && IsInFile(entry);
    }

    const CBatPlace& m_place;
    const CCheckedGeometry& m_geometry;
    const CFindingSink& m_findings;
    CBatProblems m_problems;
    CBatOverlaps m_overlaps;
    bool m_partialInChunk = false;
};

}  // namespace

void CheckBat(CByteStream& stream, const CBatPlace& place, const CCheckedGeometry& geometry,
              const CFindingSink& findings) {
    CBatChecker(place, geometry, findings).Check(stream);
}

}  // namespace NVHDXHost
