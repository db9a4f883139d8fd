#include "tools/vhdx/image_verification.h"

#include <algorithm>
#include <span>
#include <vector>

#include <fmt/format.h>

#include <vhdx_disk/copy.h>

#include "tools/vhdx/command_failure.h"

namespace NTool {

namespace {

constexpr std::uint64_t pieceSize = std::uint64_t{1} << 20;

/// Takes the disk's bytes as a copy would be given them, and compares them with the image's.
class CComparison final : public NVHDXDisk::ITarget {
public:
    CComparison(const CImageFile& image, CProgress& progress)
        : m_image(image), m_progress(progress) {}

    bool Write(std::uint64_t offset, const unsigned char* bytes, std::size_t count,
               NVHDXDisk::CFailure&) override {
        Compare(offset, {bytes, count});
        m_progress.Advance(count);
        return true;
    }

    /// What the image has not stored are zeros.
    bool Zero(std::uint64_t offset, std::uint64_t length, NVHDXDisk::CFailure&) override {
        m_zeros.resize(pieceSize);
        const std::uint64_t end = offset + length;
        for (std::uint64_t at = offset; at != end;) {
            const CStored stored = m_image.NextStored(at, end);
            const std::uint64_t pieceEnd = std::min(stored.end, stored.begin + pieceSize);
            Compare(stored.begin,
                    std::span(m_zeros).first(static_cast<std::size_t>(pieceEnd - stored.begin)));
            m_progress.Advance(pieceEnd - at);
            at = pieceEnd;
        }
        return true;
    }

    bool Flush(NVHDXDisk::CFailure&) override { return true; }

private:
    void Compare(std::uint64_t offset, std::span<const unsigned char> wanted) {
        m_written.resize(wanted.size());
        m_image.Read(offset, m_written);
        const auto difference = std::mismatch(wanted.begin(), wanted.end(), m_written.begin());
        if (difference.first != wanted.end()) {
            throw CCommandFailure(m_image.Name(),
                                  fmt::format("the image differs from the disk at byte {}",
                                              offset + static_cast<std::uint64_t>(difference.first -
                                                                                  wanted.begin())));
        }
    }

    const CImageFile& m_image;
    CProgress& m_progress;
    std::vector<unsigned char> m_written;
    std::vector<unsigned char> m_zeros;
};

void CheckSize(const NVHDXDisk::CDisk& disk, const CImageFile& image) {
    if (image.Size() != disk.Size()) {
        throw CCommandFailure(image.Name(), fmt::format("the image has {} bytes, the disk {}",
                                                        image.Size(), disk.Size()));
    }
}

}  // namespace

void VerifyImage(const CDiskPointer& disk, const CRanges& ranges, CImageFile& image,
                 EProgress wanted) {
    CProgress progress(wanted, "verifying ");
    image.Settle();
    progress.Start(LengthOf(ranges));
    CheckSize(*disk, image);
    CComparison comparison(image, progress);
    NVHDXDisk::CFailure failure;
    for (const auto& [offset, length] : ranges) {
        if (!NVHDXDisk::CopyDisk(disk, offset, length, comparison, {}, failure)) {
            throw FailureOf(failure);
        }
    }
}

}  // namespace NTool
