#include "host/log_entry.h"

#include <algorithm>
#include <span>
#include <vector>

#include "host/checksum.h"
#include "host/little_endian.h"

namespace NVHDXHost {

namespace {

constexpr std::uint32_t EntrySignature = 0x65676F6C;           // "loge"
constexpr std::uint32_t ZeroDescriptorSignature = 0x6F72657A;  // "zero"
constexpr std::uint32_t DataDescriptorSignature = 0x63736564;  // "desc"
constexpr std::uint32_t DataSectorSignature = 0x61746164;      // "data"
constexpr std::uint32_t EntryHeaderSize = 64;
constexpr std::uint32_t DescriptorSize = 32;

/// The bytes of a page that its data sector has no room for stand in the descriptor.
constexpr std::size_t LeadingSize = 8;
constexpr std::size_t TrailingSize = 4;

struct CPendingPage {
    std::uint64_t position;
    std::uint64_t leadingBytes;
    std::uint32_t trailingBytes;
};

bool IsWhole(std::uint64_t value) {
    return value % LogSectorSize == 0;
}

bool IsWritable(std::uint64_t position, std::uint64_t length) {
    return IsWhole(position) && IsWhole(length) && length <= LargestPosition &&
           position <= LargestPosition - length;
}

template <class TNumber>
void StoreNumber(unsigned char* bytes, TNumber value) {
    for (std::size_t i = 0; i < sizeof value; ++i) {
        bytes[i] = static_cast<unsigned char>(value >> (8 * i));
    }
}

/// Walks over one entry, each sector once.
class CEntryWalk {
public:
    CEntryWalk(CByteStream& stream, const CLogArea& area, std::uint32_t position,
               CLogOverlay* target)
        : m_stream(stream), m_area(area), m_target(target) {
        m_entry.position = position;
    }

    bool Run() { return ReadHeader() && ReadDescriptors() && ReadPages() && IsChecksumRight(); }
    const CLogEntry& Entry() const { return m_entry; }

private:
    std::uint64_t SectorCount() const { return m_entry.length / LogSectorSize; }

    std::uint64_t DescriptorSectorCount() const {
        return (EntryHeaderSize + std::uint64_t{DescriptorSize} * m_entry.descriptorCount +
                LogSectorSize - 1) /
               LogSectorSize;
    }

    bool ReadSector() {
        const std::uint64_t inLog =
            (m_entry.position + m_sectorsRead * LogSectorSize) % m_area.length;
        ++m_sectorsRead;
        return ReadAt(m_stream, m_area.offset + inLog, m_sector);
    }

    bool ReadHeader() {
        if (!ReadSector() || Load32(m_sector.data()) != EntrySignature) {
            return false;
        }
        const unsigned char* const bytes = m_sector.data();
        m_checksum = Load32(bytes + ChecksumPosition);
        m_entry.length = Load32(bytes + 8);
        m_entry.tail = Load32(bytes + 12);
        m_entry.sequenceNumber = Load64(bytes + 16);
        m_entry.descriptorCount = Load32(bytes + 24);
        m_entry.flushedFileOffset = Load64(bytes + 48);
        m_entry.lastFileOffset = Load64(bytes + 56);
        AddStructureStart(m_crc, m_sector);
        return IsEqual(LoadGuid(bytes + 32), m_area.guid) && IsHeaderPlausible();
    }

    bool IsHeaderPlausible() const {
        return IsWhole(m_entry.length) && m_entry.length <= m_area.length &&
               IsWhole(m_entry.tail) && m_entry.tail < m_area.length &&
               m_entry.sequenceNumber != 0 && DescriptorSectorCount() <= SectorCount();
    }

    /// The header's sector and the ones behind it, as far as descriptors reach.
    bool ReadDescriptors() {
        std::uint32_t left = m_entry.descriptorCount;
        std::size_t at = EntryHeaderSize;
        while (left != 0) {
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
            --left;
        }
        return DescriptorSectorCount() + m_pageCount == SectorCount();
    }

    bool TakeDescriptor(const unsigned char* bytes) {
        if (Load64(bytes + 24) != m_entry.sequenceNumber) {
            return false;
        }
        const std::uint64_t position = Load64(bytes + 16);
        switch (Load32(bytes)) {
            case ZeroDescriptorSignature:
                return TakeZeros(position, Load64(bytes + 8));
            case DataDescriptorSignature:
                return TakePage({position, Load64(bytes + 8), Load32(bytes + 4)});
            default:
                return false;
        }
    }

    bool TakeZeros(std::uint64_t position, std::uint64_t length) {
        if (!IsWritable(position, length)) {
            return false;
        }
        if (m_target != nullptr) {
            m_target->WriteZeros(position, length);
        }
        return true;
    }

    bool TakePage(const CPendingPage& page) {
        ++m_pageCount;
        if (m_target != nullptr) {
            m_pages.push_back(page);
        }
        return IsWritable(page.position, LogSectorSize);
    }

    bool ReadPages() {
        for (std::uint64_t i = 0; i < m_pageCount; ++i) {
            if (!ReadSector() || !IsDataSector()) {
                return false;
            }
            m_crc.process_bytes(m_sector.data(), m_sector.size());
            if (m_target != nullptr) {
                WritePage(m_pages[static_cast<std::size_t>(i)]);
            }
        }
        return true;
    }

    /// A data sector repeats the sequence number around its bytes, so that a torn one shows.
    bool IsDataSector() const {
        const std::uint64_t high = Load32(m_sector.data() + 4);
        const std::uint64_t low = Load32(m_sector.data() + LogSectorSize - 4);
        return Load32(m_sector.data()) == DataSectorSignature &&
               (high << 32 | low) == m_entry.sequenceNumber;
    }

    void WritePage(const CPendingPage& pending) {
        CLogPage page = m_sector;
        StoreNumber(page.data(), pending.leadingBytes);
        StoreNumber(page.data() + page.size() - TrailingSize, pending.trailingBytes);
        static_assert(sizeof pending.leadingBytes == LeadingSize);
        static_assert(sizeof pending.trailingBytes == TrailingSize);
        m_target->WritePage(pending.position, page);
    }

    bool IsChecksumRight() const { return m_crc.checksum() == m_checksum; }

    CByteStream& m_stream;
    const CLogArea& m_area;
    CLogOverlay* const m_target;
    CLogEntry m_entry;
    std::uint32_t m_checksum = 0;
    CCrc32c m_crc;
    CLogPage m_sector = {};
    std::uint64_t m_sectorsRead = 0;
    std::uint64_t m_pageCount = 0;
    std::vector<CPendingPage> m_pages;
};

}  // namespace

std::optional<CLogEntry> ReadLogEntry(CByteStream& stream, const CLogArea& area,
                                      std::uint32_t position, CLogOverlay* target) {
    CEntryWalk walk(stream, area, position, target);
    if (!walk.Run()) {
        return std::nullopt;
    }
    return walk.Entry();
}

}  // namespace NVHDXHost
