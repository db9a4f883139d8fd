#include "vhdx_disk/log/log_entry.h"

#include <algorithm>
#include <vector>

#include "vhdx_disk/log/checksum.h"
#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/source/record.h"
#include "vhdx_parser/blocks/geometry.h"

namespace NVHDXDisk {

namespace {

using namespace NVHDX::NFormat;

/// Both descriptors have this size, their kind in the first four bytes and the sequence number in
/// the last eight.
constexpr std::size_t DescriptorSize = sizeof(VHDX_LOG_DATA_DESCRIPTOR);
static_assert(sizeof(VHDX_LOG_ZERO_DESCRIPTOR) == DescriptorSize);

bool IsWhole(std::uint64_t value) {
    return value % LogSectorSize == 0;
}

bool IsWritable(std::uint64_t position, std::uint64_t length) {
    return IsWhole(position) && IsWhole(length) && length <= LargestPosition &&
           position <= LargestPosition - length;
}

/// Walks over one entry, each sector once.
class CEntryWalk {
public:
    CEntryWalk(const IByteSource& source, const CLogArea& area, std::uint32_t position,
               CFailure& refusal, CLogOverlay* target)
        : m_source(source), m_area(area), m_refusal(refusal), m_target(target) {
        m_entry.position = position;
    }

    bool Run() { return ReadHeader() && ReadDescriptors() && ReadPages() && IsChecksumRight(); }
    const CLogEntry& Entry() const { return m_entry; }

private:
    struct CZeros {
        std::size_t pagesBefore;  ///< how many pages the descriptors before it name
        std::uint64_t position;
        std::uint64_t length;
    };

    std::uint64_t SectorCount() const { return m_entry.length / LogSectorSize; }

    std::uint64_t DescriptorSectorCount() const {
        return NVHDX::DivideRoundingUp(
            sizeof(VHDX_LOG_ENTRY_HEADER) + std::uint64_t{DescriptorSize} * m_entry.descriptorCount,
            LogSectorSize);
    }

    bool ReadSector() {
        const std::uint64_t inLog =
            (m_entry.position + m_sectorsRead * LogSectorSize) % m_area.length;
        ++m_sectorsRead;
        CFailure cause;
        if (ReadBytes(m_source, m_area.offset + inLog, m_sector.data(), m_sector.size(), cause)) {
            return true;
        }
        if (IsRefused(cause)) {
            m_refusal = cause;
        }
        return false;
    }

    bool ReadHeader() {
        if (!ReadSector()) {
            return false;
        }
        const auto header = RecordAt<VHDX_LOG_ENTRY_HEADER>(m_sector.data());
        m_checksum = header.Checksum.Value();
        m_entry.length = header.EntryLength.Value();
        m_entry.tail = header.Tail.Value();
        m_entry.sequenceNumber = header.SequenceNumber.Value();
        m_entry.descriptorCount = header.DescriptorCount.Value();
        m_entry.flushedFileOffset = header.FlushedFileOffset.Value();
        m_entry.lastFileOffset = header.LastFileOffset.Value();
        return header.Signature.Value() == VHDX_LOG_ENTRY_HEADER::ExpectedSignature &&
               IsEqual(header.LogGuid.Value(), m_area.guid) && IsHeaderPlausible();
    }

    bool IsHeaderPlausible() const {
        return IsWhole(m_entry.length) && m_entry.length <= m_area.length &&
               IsWhole(m_entry.tail) && m_entry.tail < m_area.length &&
               m_entry.sequenceNumber != 0 && DescriptorSectorCount() <= SectorCount();
    }

    /// The header's sector and the ones behind it, as far as descriptors reach.
    bool ReadDescriptors() {
        AddStructureStart(m_crc, m_sector);
        std::size_t at = sizeof(VHDX_LOG_ENTRY_HEADER);
        for (std::uint32_t left = m_entry.descriptorCount; left != 0; --left) {
            if (at == LogSectorSize) {
                if (!ReadSector()) {
                    return false;
                }
                m_crc.process_bytes(m_sector.data(), m_sector.size());
                at = 0;
            }
            if (!TakeDescriptor(m_sector.data() + at)) {
                return false;
            }
            at += DescriptorSize;
        }
        return DescriptorSectorCount() + m_pageCount == SectorCount();
    }

    bool TakeDescriptor(const unsigned char* bytes) {
        const auto page = RecordAt<VHDX_LOG_DATA_DESCRIPTOR>(bytes);
        if (page.SequenceNumber.Value() != m_entry.sequenceNumber) {
            return false;
        }
        switch (page.DataSignature.Value()) {
            case VHDX_LOG_ZERO_DESCRIPTOR::ExpectedSignature:
                return TakeZeros(RecordAt<VHDX_LOG_ZERO_DESCRIPTOR>(bytes));
            case VHDX_LOG_DATA_DESCRIPTOR::ExpectedSignature:
                return TakePage(page);
            default:
                return false;
        }
    }

    bool TakeZeros(const VHDX_LOG_ZERO_DESCRIPTOR& zeros) {
        const std::uint64_t position = zeros.FileOffset.Value();
        const std::uint64_t length = zeros.ZeroLength.Value();
        if (!IsWritable(position, length)) {
            return false;
        }
        if (m_target != nullptr) {
            m_zeros.push_back({m_pages.size(), position, length});
        }
        return true;
    }

    bool TakePage(const VHDX_LOG_DATA_DESCRIPTOR& page) {
        ++m_pageCount;
        if (m_target != nullptr) {
            m_pages.push_back(page);
        }
        return IsWritable(page.FileOffset.Value(), LogSectorSize);
    }

    /// Writes in the order of the descriptors: of two for one place the later one wins.
    bool ReadPages() {
        for (std::uint64_t i = 0; i < m_pageCount; ++i) {
            if (!ReadSector() || !IsDataSector()) {
                return false;
            }
            m_crc.process_bytes(m_sector.data(), m_sector.size());
            if (m_target != nullptr) {
                WriteZerosBefore(static_cast<std::size_t>(i));
                WritePage(m_pages[static_cast<std::size_t>(i)]);
            }
        }
        WriteZerosBefore(m_pages.size());
        return true;
    }

    /// The ranges of zeros that stand between the page before and this one.
    void WriteZerosBefore(std::size_t page) {
        for (; m_zerosWritten != m_zeros.size() && m_zeros[m_zerosWritten].pagesBefore == page;
             ++m_zerosWritten) {
            const CZeros& zeros = m_zeros[m_zerosWritten];
            m_target->WriteZeros(zeros.position, zeros.length);
        }
    }

    /// A data sector repeats the sequence number around its bytes, so that a torn one shows.
    bool IsDataSector() const {
        const auto sector = RecordAt<VHDX_LOG_DATA_SECTOR>(m_sector.data());
        const std::uint64_t high = sector.SequenceHigh.Value();
        return sector.DataSignature.Value() == VHDX_LOG_DATA_SECTOR::ExpectedSignature &&
               (high << 32 | sector.SequenceLow.Value()) == m_entry.sequenceNumber;
    }

    /// The bytes of a page that its data sector has no room for stand in the descriptor.
    void WritePage(const VHDX_LOG_DATA_DESCRIPTOR& pending) {
        CLogPage page = m_sector;
        constexpr std::size_t trailing = offsetof(VHDX_LOG_DATA_SECTOR, SequenceLow);
        StoreLittleEndian(page.data(), pending.LeadingBytes.Value());
        StoreLittleEndian(page.data() + trailing, pending.TrailingBytes.Value());
        m_target->WritePage(pending.FileOffset.Value(), page);
    }

    bool IsChecksumRight() const { return m_crc.checksum() == m_checksum; }

    const IByteSource& m_source;
    const CLogArea& m_area;
    CFailure& m_refusal;
    CLogOverlay* const m_target;
    CLogEntry m_entry;
    std::uint32_t m_checksum = 0;
    CCrc32c m_crc;
    CLogPage m_sector = {};
    std::uint64_t m_sectorsRead = 0;
    std::uint64_t m_pageCount = 0;
    std::vector<VHDX_LOG_DATA_DESCRIPTOR> m_pages;
    std::vector<CZeros> m_zeros;
    std::size_t m_zerosWritten = 0;
};

}  // namespace

std::optional<CLogEntry> ReadLogEntry(const IByteSource& source, const CLogArea& area,
                                      std::uint32_t position, CFailure& refusal,
                                      CLogOverlay* target) {
    CEntryWalk walk(source, area, position, refusal, target);
    if (!walk.Run()) {
        return std::nullopt;
    }
    return walk.Entry();
}

}  // namespace NVHDXDisk
