#ifndef VHDX_PARSER_TESTS_SUPPORT_LOG_BUILDER_H
#define VHDX_PARSER_TESTS_SUPPORT_LOG_BUILDER_H

/// Log entries with their descriptors and data sectors, laid out by hand.

#include <vector>

#include "tests/support/image_builder.h"

namespace NTest {

inline const CGuid logGuid = Guid("{10600000-0001-4A00-8000-00000000000A}");

/// One entry: fields as in its header, then its descriptors in order.
///
///     CLogEntryBuilder(7, 4096).Zero(4 * MiB, 8192).Page(5 * MiB, Pattern(1, 0, 4096)).Bytes()
class CLogEntryBuilder {
public:
    explicit CLogEntryBuilder(std::uint64_t sequenceNumber, std::uint32_t tail = 0);

    CLogEntryBuilder& Zero(std::uint64_t position, std::uint64_t length);
    /// `page` has 4096 bytes.
    CLogEntryBuilder& Page(std::uint64_t position, CBytes page);
    CLogEntryBuilder& FileOffsets(std::uint64_t flushed, std::uint64_t last);
    CLogEntryBuilder& LogGuid(const CGuid& guid);

    CLogEntry header;                        ///< edit at will; lengths follow unless `fixedLength`
    bool fixedLength = false;                ///< keep `header.entryLength`
    std::uint64_t descriptorSequenceNumber;  ///< what descriptors and data sectors carry

    CBytes Bytes() const;

private:
    struct CDescriptor {
        bool zero;
        std::uint64_t position;
        std::uint64_t length;
        CBytes page;
    };

    std::vector<CDescriptor> m_descriptors;
};

/// The log region: entries at positions of the log, wrapped round its end.
class CLogImage {
public:
    explicit CLogImage(std::uint32_t length = 1048576) : m_bytes(length) {}

    CLogImage& Put(std::uint32_t position, const CBytes& entry);
    /// Changes one byte of what stands there.
    CLogImage& Spoil(std::uint32_t position);
    const CBytes& Bytes() const { return m_bytes; }

private:
    CBytes m_bytes;
};

}  // namespace NTest

#endif
