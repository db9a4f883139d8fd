#include "tests/support/log_builder.h"

namespace NTest {

CLogEntryBuilder::CLogEntryBuilder(std::uint64_t sequenceNumber, std::uint32_t tail)
    : descriptorSequenceNumber(sequenceNumber) {
    header.sequenceNumber = sequenceNumber;
    header.tail = tail;
    header.logGuid = logGuid;
}

CLogEntryBuilder& CLogEntryBuilder::Zero(std::uint64_t position, std::uint64_t length) {
    m_descriptors.push_back({true, position, length, {}});
    return *this;
}

CLogEntryBuilder& CLogEntryBuilder::Page(std::uint64_t position, CBytes page) {
    m_descriptors.push_back({false, position, 0, std::move(page)});
    return *this;
}

CLogEntryBuilder& CLogEntryBuilder::FileOffsets(std::uint64_t flushed, std::uint64_t last) {
    header.flushedFileOffset = flushed;
    header.lastFileOffset = last;
    return *this;
}

CLogEntryBuilder& CLogEntryBuilder::LogGuid(const CGuid& guid) {
    header.logGuid = guid;
    return *this;
}

CBytes CLogEntryBuilder::Bytes() const {
    CBytes descriptors;
    CBytes sectors;
    for (const CDescriptor& descriptor : m_descriptors) {
        const std::size_t at = descriptors.size();
        PutBytes(descriptors, at, CBytes(32));
        Put32(descriptors, at, descriptor.zero ? 0x6F72657A : 0x63736564);
        Put64(descriptors, at + 16, descriptor.position);
        Put64(descriptors, at + 24, descriptorSequenceNumber);
        if (descriptor.zero) {
            Put64(descriptors, at + 8, descriptor.length);
            continue;
        }
        const std::span<const unsigned char> page(descriptor.page);
        PutBytes(descriptors, at + 4, page.last(4));
        PutBytes(descriptors, at + 8, page.first(8));
        const std::size_t sector = sectors.size();
        PutBytes(sectors, sector, CBytes(4096));
        Put32(sectors, sector, 0x61746164);
        Put32(sectors, sector + 4, static_cast<std::uint32_t>(descriptorSequenceNumber >> 32));
        PutBytes(sectors, sector + 8, page.subspan(8, 4084));
        Put32(sectors, sector + 4092, static_cast<std::uint32_t>(descriptorSequenceNumber));
    }
    const std::size_t described = (64 + descriptors.size() + 4095) / 4096 * 4096;
    descriptors.resize(described - 64);
    PutBytes(descriptors, descriptors.size(), sectors);

    CLogEntry entry = header;
    entry.rest = descriptors;
    entry.descriptorCount += static_cast<std::uint32_t>(m_descriptors.size());
    if (!fixedLength) {
        entry.entryLength = static_cast<std::uint32_t>(64 + entry.rest.size());
    }
    return entry.Bytes();
}

CLogImage& CLogImage::Put(std::uint32_t position, const CBytes& entry) {
    for (std::size_t i = 0; i < entry.size(); ++i) {
        m_bytes[(position + i) % m_bytes.size()] = entry[i];
    }
    return *this;
}

CLogImage& CLogImage::Spoil(std::uint32_t position) {
    m_bytes.at(position) ^= 0xFF;
    return *this;
}

}  // namespace NTest
