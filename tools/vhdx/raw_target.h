#ifndef VHDX_TOOLS_VHDX_RAW_TARGET_H
#define VHDX_TOOLS_VHDX_RAW_TARGET_H

#include <cstdint>
#include <memory>
#include <vector>

#include "host/raw_export.h"
#include "tools/vhdx/progress.h"
#include "tools/vhdx/raw_file.h"

namespace NTool {

/// Writes what an export hands over into a raw image.
class CRawTarget final : public NVHDXHost::IRawTarget {
public:
    /// The first `olderSize` bytes of the image are from before, so that zeros have to be made
    /// there; what lies behind reads as zeros already, or does as soon as the image reaches so far.
    CRawTarget(const NVHDXHost::CMergedDisk& disk, CRawFile& raw, std::uint64_t olderSize,
               CProgress& progress);

    void CopyFrom(std::size_t layer, std::uint64_t position, std::uint64_t offset,
                  std::uint64_t length) override;
    void Write(std::uint64_t offset, std::span<const unsigned char> bytes) override;
    void Zero(std::uint64_t offset, std::uint64_t length) override;

private:
    const CRawFile& Source(std::size_t layer);
    void CopyStored(const CRawFile& source, std::uint64_t position, std::uint64_t offset,
                    std::uint64_t length);

    const NVHDXHost::CMergedDisk& m_disk;
    CRawFile& m_raw;
    std::uint64_t m_olderSize;
    CProgress& m_progress;
    std::vector<std::unique_ptr<CRawFile>> m_sources;
};

}  // namespace NTool

#endif
