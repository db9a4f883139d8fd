#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include <vhdx_parser/differencing_merge.h>

#include "vhdx_parser/blocks/units.h"
#include "vhdx_parser/chain/differencing_sector_bits.h"
#include "vhdx_parser/chain/differencing_sector_locator.h"

namespace NVHDX {
namespace NDifferencingVirtualMerge {

namespace {

template <class TChar>
using CRunCallback =
    std::function<bool(std::uint64_t baseOffset, std::shared_ptr<std::basic_string<TChar>>& path,
                       std::uint64_t offset, std::uint64_t length)>;

constexpr std::uint64_t NoOffset = 0xFFFFFFFFFFFFFFFF;

/// Joins the sectors that a differencing file holds in one chunk into runs and reports each run
/// when it ends. Sectors come in ascending order, in stretches whose sectors follow one another in
/// the file; the runs are those of a walk from sector to sector.
template <class TChar>
class CRuns {
public:
    CRuns(const CFileData<TChar>& file, const CFileData<TChar>& base, std::uint64_t chunkIndex,
          const CRunCallback<TChar>& callback)
        : m_path(file.path),
          m_given(file.path),
          m_sectorSize(file.parameters.logsectsz),
          m_base(base.blocks, base.parameters, chunkIndex),
          m_callback(callback) {}

    /// False once the callback wants no more.
    bool GoesOn() const { return m_goesOn; }

    bool IsOpen() const { return m_isOpen; }

    void AddAbsent() {
        if (m_isOpen) {
            Report();
        }
    }

    void AddPresent(std::uint64_t sector, std::uint64_t offset, std::uint64_t count) {
        if (m_isOpen && offset != m_offset + m_length) {
            EndRunWithForeignSector();
            ++sector;
            offset += m_sectorSize;
            --count;
        }
        if (count > 0) {
            Extend(sector, offset, count);
        }
    }

    /// The same as adding the sectors and an absent one behind them, where no run is open.
    void AddWholeRun(std::uint64_t sector, std::uint64_t offset, std::uint64_t count) {
        Report(BaseOffsetOf(sector), offset, count * m_sectorSize);
    }

private:
    // A sector that does not continue the run is counted into it and ends it, and its own offset
    // is not reported: kept deliberately.
    void EndRunWithForeignSector() {
        m_length += m_sectorSize;
        Report();
    }

    void Extend(std::uint64_t sector, std::uint64_t offset, std::uint64_t count) {
        if (!m_isOpen) {
            Open(sector, offset);
        }
        m_length += count * m_sectorSize;
        // The chunk's last sector always ends the run.
        if (sector + count == SectorsPerChunk) {
            Report();
        }
    }

    void Open(std::uint64_t sector, std::uint64_t offset) {
        m_isOpen = true;
        m_baseOffset = BaseOffsetOf(sector);
        m_offset = offset;
        m_length = 0;
    }

    std::uint64_t BaseOffsetOf(std::uint64_t sector) {
        std::uint64_t offset = 0;
        return m_base.Locate(sector, offset) ? offset : NoOffset;
    }

    void Report() {
        m_isOpen = false;
        Report(m_baseOffset, m_offset, m_length);
    }

    // Whatever else is added once the callback wants no more, it is not called again.
    void Report(std::uint64_t baseOffset, std::uint64_t offset, std::uint64_t length) {
        if (!m_goesOn) {
            return;
        }
        // The callback may change what it is given; the next run names the file again.
        if (m_given != m_path) {
            m_given = m_path;
        }
        m_goesOn = m_callback(baseOffset, m_given, offset, length);
    }

    const std::shared_ptr<std::basic_string<TChar>>& m_path;
    std::shared_ptr<std::basic_string<TChar>> m_given;
    const std::uint64_t m_sectorSize;
    CSectorLocator m_base;
    const CRunCallback<TChar>& m_callback;
    bool m_goesOn = true;
    bool m_isOpen = false;
    std::uint64_t m_baseOffset = NoOffset;
    std::uint64_t m_offset = 0;
    std::uint64_t m_length = 0;
};

// The stretch is copied: for all the compiler knows, the callback could change it.
template <class TChar>
void AddByBitmap(CRuns<TChar>& runs, CSectorStretch stretch, std::uint64_t end,
                 std::uint64_t sectorSize) {
    CSetSectorsSearch search(*stretch.bits, stretch.first, end);
    CSetSectors present = {};
    std::uint64_t sector = stretch.first;
    while (runs.GoesOn() && search.Next(present)) {
        if (present.first > sector) {
            runs.AddAbsent();
        }
        const std::uint64_t offset = stretch.offset + (present.first - stretch.first) * sectorSize;
        const std::uint64_t count = present.end - present.first;
        if (present.end < end && !runs.IsOpen()) {
            runs.AddWholeRun(present.first, offset, count);
        } else {
            runs.AddPresent(present.first, offset, count);
        }
        sector = present.end;
    }
    if (sector < end) {
        runs.AddAbsent();
    }
}

// Steps over whole blocks that the file holds or does not hold, and over runs of equal bits.
template <class TChar>
bool EnumerateFile(const CFileData<TChar>& file, const CFileData<TChar>& base,
                   std::uint64_t chunkIndex, const CRunCallback<TChar>& callback) {
    CRuns<TChar> runs(file, base, chunkIndex, callback);
    CSectorLocator locator(file.blocks, file.parameters, chunkIndex);
    std::uint64_t sector = 0;
    while (sector < SectorsPerChunk && runs.GoesOn()) {
        const CSectorStretch& stretch = locator.StretchOf(sector);
        const std::uint64_t end = std::min(stretch.end, SectorsPerChunk);
        if (!stretch.isPresent) {
            runs.AddAbsent();
        } else if (stretch.bits == nullptr) {
            runs.AddPresent(sector, stretch.offset, end - sector);
        } else {
            AddByBitmap(runs, stretch, end, locator.SectorSize());
        }
        sector = end;
    }
    return runs.GoesOn();
}

template <class TChar>
bool EnumerateCircuit(const CFileDataCircuit<TChar>& circuit, const CRunCallback<TChar>& callback) {
    for (std::size_t chunk = 0; chunk < circuit.base.blocks.chunks.size(); ++chunk) {
        for (const CFileData<TChar>& file : circuit.differencing) {
            if (!EnumerateFile(file, circuit.base, chunk, callback)) {
                return false;
            }
        }
    }
    return true;
}

}  // namespace

bool EnumerateDifferences(const CFileDataCircuit<char>& circuit, CRunCallback<char> callback) {
    return EnumerateCircuit(circuit, callback);
}

bool EnumerateDifferences(const CFileDataCircuit<wchar_t>& circuit,
                          CRunCallback<wchar_t> callback) {
    return EnumerateCircuit(circuit, callback);
}

}  // namespace NDifferencingVirtualMerge
}  // namespace NVHDX
