#ifndef VHDX_DISK_READER_H
#define VHDX_DISK_READER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include <vhdx_disk/disk.h>
#include <vhdx_disk/export.h>
#include <vhdx_disk/failure.h>

namespace NVHDXDisk {

/// A run of the disk that comes from one place.
struct CExtent {
    enum EKind : std::int32_t {
        data,   ///< bytes of a file
        zeros,  ///< a file says that these are zeros
        hole    ///< no file of the chain says anything; reads as zeros
    };

    std::uint64_t offset = 0;  ///< on the disk, in bytes
    std::uint64_t length = 0;  ///< bytes
    EKind kind = hole;
    std::size_t file = 0;        ///< data and zeros: the place in `CDisk::Files`
    std::uint64_t position = 0;  ///< data: of the first byte in the file
    /// data: the bytes are not those of the file on storage, but come from its log.
    bool fromLog = false;

    [[nodiscard]] std::uint64_t End() const { return offset + length; }
};

[[nodiscard]] inline bool operator==(const CExtent& one, const CExtent& other) {
    return one.offset == other.offset && one.length == other.length && one.kind == other.kind &&
           one.file == other.file && one.position == other.position && one.fromLog == other.fromLog;
}

/// Returns false to end the walk; the answer is then true all the same.
using CExtentCallback = std::function<bool(const CExtent&)>;

/// Reads a disk by offset. One thread at a time; readers of one disk do not disturb each other.
/// Keeps at most 16 MiB of sector bitmaps.
class CReader {
public:
    VHDX_DISK_API explicit CReader(std::shared_ptr<const CDisk> disk);
    CReader(const CReader&) = delete;
    CReader& operator=(const CReader&) = delete;
    VHDX_DISK_API ~CReader();

    [[nodiscard]] VHDX_DISK_API const CDisk& Disk() const;

    /// Fills `bytes` with the `count` bytes of the disk from `offset` on. False, with the reason in
    /// `failure` and `bytes` unspecified, when the range is not inside the disk or something that
    /// it needs cannot be read.
    [[nodiscard]] VHDX_DISK_API bool Read(std::uint64_t offset, unsigned char* bytes,
                                          std::size_t count, CFailure& failure);

    /// Reports where the bytes [offset, offset + length) come from, in order, without gaps, in runs
    /// as long as can be; the first and last are cut to the range. Reads sector bitmaps and no
    /// data. False as for `Read`.
    [[nodiscard]] VHDX_DISK_API bool Extents(std::uint64_t offset, std::uint64_t length,
                                             const CExtentCallback& callback, CFailure& failure);

    /// Reports the runs of [offset, offset + length) that the files newer than `sinceFile`, a place
    /// in `CDisk::Files`, hold in place of what the disk had there when that file was its newest.
    /// Data and zeros are told with the newest file that holds them. A hole is what a smaller file
    /// in between cut off: bytes of the older disk that read as zeros though no newer file says so.
    /// False as for `Read`, and of kind `outOfRange` for a place that is none.
    [[nodiscard]] VHDX_DISK_API bool Changes(std::size_t sinceFile, std::uint64_t offset,
                                             std::uint64_t length, const CExtentCallback& callback,
                                             CFailure& failure);

private:
    std::unique_ptr<class CReaderParts> m_parts;
};

}  // namespace NVHDXDisk

#endif
