#include "host/raw_export.h"

#include <algorithm>

namespace NVHDXHost {

namespace {

/// Shorter runs are read together: a call to the system for each would take longer.
constexpr std::uint64_t ShortestCopy = 131072;
/// Shorter runs of zeros are written: file systems make no holes of less.
constexpr std::uint64_t ShortestHole = 4096;
constexpr std::uint64_t PieceSize = 1048576;

}  // namespace

CRawExport::CRawExport(const std::shared_ptr<const CMergedDisk>& disk)
    : m_extents(disk), m_data(disk) {}

bool CRawExport::CountData(std::uint64_t offset, std::uint64_t length, std::uint64_t& bytes) {
    bytes = 0;
    return m_extents.Extents(offset, length, [&bytes](const CExtent& extent) {
        bytes += extent.kind == CExtent::data ? extent.length : 0;
        return true;
    });
}

bool CRawExport::Copy(std::uint64_t offset, std::uint64_t length, IRawTarget& target) {
    m_begin = m_end = offset;
    bool complete = true;
    const bool enumerated = m_extents.Extents(offset, length, [&](const CExtent& extent) {
        complete = Take(extent, target);
        return complete;
    });
    return enumerated && complete && WriteCollected(target);
}

const std::string& CRawExport::Error() const {
    return m_extents.Error().empty() ? m_data.Error() : m_extents.Error();
}

bool CRawExport::Take(const CExtent& extent, IRawTarget& target) {
    const bool isData = extent.kind == CExtent::data;
    if (isData ? extent.overlaid || extent.length < ShortestCopy : extent.length < ShortestHole) {
        return Collect(extent, target);
    }
    if (!WriteCollected(target)) {
        return false;
    }
    if (isData) {
        target.CopyFrom(extent.layer, extent.position, extent.offset, extent.length);
    } else {
        target.Zero(extent.offset, extent.length);
    }
    m_begin = m_end = extent.End();
    return true;
}

/// Puts the extent behind the range that is to be read, and reads what makes a whole piece.
bool CRawExport::Collect(const CExtent& extent, IRawTarget& target) {
    m_end = extent.End();
    return m_end - m_begin < PieceSize || WriteCollected(target);
}

bool CRawExport::WriteCollected(IRawTarget& target) {
    while (m_begin != m_end) {
        m_buffer.resize(PieceSize);
        const std::span<unsigned char> bytes(
            m_buffer.data(), static_cast<std::size_t>(std::min(PieceSize, m_end - m_begin)));
        if (!m_data.Read(m_begin, bytes)) {
            return false;
        }
        target.Write(m_begin, bytes);
        m_begin += bytes.size();
    }
    return true;
}

}  // namespace NVHDXHost
