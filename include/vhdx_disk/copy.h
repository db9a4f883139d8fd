#ifndef VHDX_DISK_COPY_H
#define VHDX_DISK_COPY_H

/// Hands the content of a disk to a target of the caller's.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include <vhdx_disk/disk.h>
#include <vhdx_disk/export.h>
#include <vhdx_disk/failure.h>

namespace NVHDXDisk {

/// Where the bytes of a disk go. Offsets are those of the disk and ascend within one copy. An
/// operation that fails fills `failure` (its kind is `targetFailed` where it says none) and returns
/// false; what it throws passes through the copy.
class ITarget {
public:
    virtual ~ITarget() = default;

    [[nodiscard]] virtual bool Write(std::uint64_t offset, const unsigned char* bytes,
                                     std::size_t count, CFailure& failure) = 0;
    /// The range reads as zeros. A target that does so already may leave it; short runs of zeros
    /// between data come by `Write`.
    [[nodiscard]] virtual bool Zero(std::uint64_t offset, std::uint64_t length,
                                    CFailure& failure) = 0;
    /// Once, when every byte was handed over.
    [[nodiscard]] virtual bool Flush(CFailure& failure) = 0;

    /// Offers bytes that lie in one piece in a file on storage, for targets to which the system may
    /// copy them. Those that do not want them (`taken` stays false) are given them by `Write`.
    [[nodiscard]] virtual bool CopyFrom(const CDiskFile& file, std::uint64_t position,
                                        std::uint64_t offset, std::uint64_t length, bool& taken,
                                        CFailure& failure) {
        (void)file, (void)position, (void)offset, (void)length, (void)failure;
        taken = false;
        return true;
    }

protected:
    ITarget() = default;
    ITarget(const ITarget&) = default;
    ITarget& operator=(const ITarget&) = default;
};

/// Told after each piece how many bytes of the disk are done, zeros among them. Returns false to
/// stop the copy.
using CProgressCallback = std::function<bool(std::uint64_t done)>;

/// Every byte of [offset, offset + length) reaches the target once, then the target is flushed.
/// Takes time for the data, not for the size of the disk, and a few MiB of memory. False, with the
/// reason in `failure`, when the range is not inside the disk, a file cannot be read, the target
/// fails, `progress` (which may be empty) stops it, or `CDisk::CheckUnchanged` is false between
/// long pieces or at the end (not for a disk that was opened as live); what was handed over until
/// then stays.
[[nodiscard]] VHDX_DISK_API bool CopyDisk(const std::shared_ptr<const CDisk>& disk,
                                          std::uint64_t offset, std::uint64_t length,
                                          ITarget& target, const CProgressCallback& progress,
                                          CFailure& failure);

}  // namespace NVHDXDisk

#endif
