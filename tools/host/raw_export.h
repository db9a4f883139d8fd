#ifndef VHDX_HOST_RAW_EXPORT_H
#define VHDX_HOST_RAW_EXPORT_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/merged_reader.h"

namespace NVHDXHost {

/// Where the bytes of a virtual disk go. Offsets are those of the virtual disk and ascend within
/// one `CRawExport::Copy`. What an operation throws passes through the export.
class IRawTarget {
public:
    virtual ~IRawTarget() = default;

    /// Bytes that lie in one piece in a file of the chain, so that the system may copy them.
    virtual void CopyFrom(std::size_t layer, std::uint64_t position, std::uint64_t offset,
                          std::uint64_t length) = 0;
    virtual void Write(std::uint64_t offset, std::span<const unsigned char> bytes) = 0;
    virtual void Zero(std::uint64_t offset, std::uint64_t length) = 0;
};

/// Hands the content of a merged disk to a target. Takes time for the data, not for the size of the
/// disk, and a few MiB of memory.
class CRawExport {
public:
    explicit CRawExport(const std::shared_ptr<const CMergedDisk>& disk);

    /// The bytes [offset, offset + length) that come from files, without reading them. False, with
    /// the reason in `Error`, when the range is not inside the disk or a file cannot be read.
    [[nodiscard]] bool CountData(std::uint64_t offset, std::uint64_t length, std::uint64_t& bytes);

    /// Every byte of [offset, offset + length) reaches the target once. False as for `CountData`.
    [[nodiscard]] bool Copy(std::uint64_t offset, std::uint64_t length, IRawTarget& target);

    [[nodiscard]] const std::string& Error() const;

private:
    bool Take(const CExtent& extent, IRawTarget& target);
    bool Collect(const CExtent& extent, IRawTarget& target);
    bool WriteCollected(IRawTarget& target);

    CMergedReader m_extents;
    CMergedReader m_data;
    std::uint64_t m_begin = 0;  ///< the range [m_begin, m_end) is to be read and written
    std::uint64_t m_end = 0;
    std::vector<unsigned char> m_buffer;
};

}  // namespace NVHDXHost

#endif
