#ifndef VHDX_DISK_TABLE_CONTAINER_H
#define VHDX_DISK_TABLE_CONTAINER_H

#include <istream>
#include <optional>

#include <vhdx_disk/source.h>
#include <vhdx_parser/accessor.h>

#include "vhdx_disk/log/log_replay.h"
#include "vhdx_disk/source/source_buffer.h"

namespace NVHDXDisk {

/// A disk file that was opened through the first library, with its log replayed or as it stands.
/// One thread at a time.
class CContainer {
public:
    /// Once. False, with the reason in `failure`, when its log cannot be replayed or nobody knows
    /// whether there is one, and when it is no container.
    [[nodiscard]] bool Open(const CHeadedFile& file, ELog log, CFailure& failure);

    [[nodiscard]] const CReplayedFile& File() const { return m_file; }
    [[nodiscard]] const IByteSource& Bytes() const { return *m_file.bytes; }
    [[nodiscard]] const NVHDX::CAccessor& Accessor() const { return m_accessor; }

    /// Whether the source refused bytes since the opening, with the reason in `failure`: what was
    /// not found then may be there.
    [[nodiscard]] bool WasRefused(CFailure& failure) const;

    /// Says that the file is damaged, or that the source refused bytes if it did. Always false.
    bool Fail(CFailure& failure, const std::string& reason) const;
    /// One metadata item; false when it cannot be read.
    template <class TItem>
    [[nodiscard]] bool Retrieve(TItem& item) {
        m_stream.clear();
        return m_accessor.Retrieve(item, m_stream);
    }

    /// The stream for requests on the accessor.
    [[nodiscard]] std::basic_istream<unsigned char>& Stream() {
        m_stream.clear();
        return m_stream;
    }

private:
    CReplayedFile m_file;
    std::optional<CSourceBuffer> m_buffer;
    std::basic_istream<unsigned char> m_stream{nullptr};
    NVHDX::CAccessor m_accessor;
};

/// What is said of a file whose region table claims more entries than it has room for. The first
/// library follows the count to the end of the file: for hours, where a sparse file says that it is
/// large.
inline constexpr const char* TooManyRegions =
    "the region table claims more entries than the 2047 that it has room for";

/// Whether the file begins as every disk file does. False, with `cause` as `ReadBytes` has it, also
/// when the first bytes cannot be read.
[[nodiscard]] bool HasIdentifier(const IByteSource& source, CFailure& cause);

/// `CAccessor::Entry` for a file whose log nobody asks for, and without a word about what is wrong.
[[nodiscard]] bool Enter(NVHDX::CAccessor& accessor, std::basic_istream<unsigned char>& stream,
                         const IByteSource& source);

}  // namespace NVHDXDisk

#endif
