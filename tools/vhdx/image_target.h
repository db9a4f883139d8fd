#ifndef VHDX_TOOLS_VHDX_IMAGE_TARGET_H
#define VHDX_TOOLS_VHDX_IMAGE_TARGET_H

#include <cstdint>
#include <map>
#include <vector>

#include <vhdx_disk/copy.h>
#include "tools/vhdx/image_file.h"
#include "tools/vhdx/progress.h"
#include "tools/vhdx/stored_runs.h"

namespace NTool {

/// Writes what a copy hands over into a raw image. What fails throws `CCommandFailure`.
class CImageTarget final : public NVHDXDisk::ITarget {
public:
    /// The first `olderSize` bytes of the image are from before, so that zeros have to be made
    /// there; what lies behind reads as zeros already, or does as soon as the image reaches so far.
    CImageTarget(CImageFile& image, std::uint64_t olderSize, CProgress& progress)
        : m_image(image), m_olderSize(olderSize), m_progress(progress) {}

    bool Write(std::uint64_t offset, const unsigned char* bytes, std::size_t count,
               NVHDXDisk::CFailure& failure) override;
    bool Zero(std::uint64_t offset, std::uint64_t length, NVHDXDisk::CFailure& failure) override;
    bool Flush(NVHDXDisk::CFailure& failure) override;
    bool CopyFrom(const NVHDXDisk::CDiskFile& file, std::uint64_t position, std::uint64_t offset,
                  std::uint64_t length, bool& taken, NVHDXDisk::CFailure& failure) override;

private:
    bool CopyStored(const NVHDXDisk::CDiskFile& file, int descriptor, std::uint64_t position,
                    std::uint64_t offset, std::uint64_t length, NVHDXDisk::CFailure& failure);
    void MakeZeros(std::uint64_t offset, std::uint64_t length);

    CImageFile& m_image;
    std::uint64_t m_olderSize;
    CProgress& m_progress;
    std::map<const NVHDXDisk::IByteSource*, CStoredRuns> m_stored;
    std::vector<unsigned char> m_buffer;
};

}  // namespace NTool

#endif
