#include "vhdx_disk/table/table_scan.h"

#include <algorithm>

#include "vhdx_parser/blocks/bat_entry.h"
#include "vhdx_parser/blocks/units.h"

namespace NVHDXDisk {

CTableScan::CTableScan(const CGeometry& geometry)
    : m_geometry(geometry), m_blocksLeft(geometry.BlockCount()) {}

void CTableScan::Add(const CTablePiece& piece, const CReport& report) {
    if (piece.isBitmap) {
        const NVHDX::CBATEntry entry(piece.words.front());
        m_badBitmap =
            m_badBitmap || !(entry.IsSectorBitmapPresent() || entry.IsSectorBitmapNotPresent());
        return;
    }
    const auto count =
        static_cast<std::size_t>(std::min<std::uint64_t>(m_blocksLeft, piece.words.size()));
    m_blocksLeft -= count;
    m_summary.Add(piece.words.first(count));
    m_summary.AddPastEnd(piece.words.subspan(count));
    report(piece.words.first(count));
}

/// Only with a parent sector bitmap entries say anything.
bool CTableScan::IsValid() const {
    const unsigned allowed = m_geometry.hasParent ? NVHDX::PayloadStateBitsWithParent
                                                  : NVHDX::PayloadStateBitsWithoutParent;
    return !m_summary.HasAny(~allowed & 0xFF) && !(m_geometry.hasParent && m_badBitmap);
}

NVHDX::CFileParameters CTableScan::Parameters() const {
    NVHDX::CFileParameters params;
    params.payloadblksz = m_geometry.blockSize;
    params.logsectsz = m_geometry.logicalSectorSize;
    params.virtdisksz = m_geometry.virtualSize;
    params.bDifferencing = m_geometry.hasParent;
    params.maxFileOffset =
        NVHDX::BytesFromMebibytes(m_summary.LargestOffset()) + m_geometry.blockSize;
    params.lastPayloadBlockIndex = m_summary.LargestOffsetIndex();
    return params;
}

}  // namespace NVHDXDisk
