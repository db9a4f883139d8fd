#ifndef VHDX_DISK_SOURCE_H
#define VHDX_DISK_SOURCE_H

/// Where the bytes of disk files come from: the one seam through which the library reads.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>

#include <vhdx_disk/export.h>
#include <vhdx_disk/failure.h>

namespace NVHDXDisk {

/// The bytes of one file by position: a file, a snapshot device, an object of a storage service, a
/// block of memory. Any number of threads call it at a time, and nothing is remembered between
/// calls.
class IByteSource {
public:
    virtual ~IByteSource() = default;

    /// What the source is called in messages, and from where its parents' relative paths lead.
    [[nodiscard]] virtual const std::filesystem::path& Path() const = 0;

    /// Bytes; the same at every call.
    [[nodiscard]] virtual std::uint64_t Size() const = 0;

    /// Fills `bytes` with the `count` bytes from `position` on. False, with `bytes` unspecified and
    /// the reason in `failure`, when not all of them can be had.
    ///
    /// A failure that has a number in `error` (EIO where the source knows none), or another kind
    /// than `cannotBeRead`, is the system's refusal and never taken for damage or for an end.
    [[nodiscard]] virtual bool ReadAt(std::uint64_t position, unsigned char* bytes,
                                      std::size_t count, CFailure& failure) const = 0;

    /// Whether the source is still as it was when it was opened, as far as that shows without
    /// reading it. False, with the reason in `failure` (`changedMeanwhile` where it is not).
    [[nodiscard]] virtual bool CheckUnchanged(CFailure& failure) const {
        (void)failure;
        return true;
    }

    /// The file descriptor, on Windows the HANDLE, through which the source is read, for what only
    /// the system can do; null for a source that is no file, and when it cannot be opened again. It
    /// is good as long as the pointer lives. Never to be closed, written, or read but by position.
    [[nodiscard]] virtual std::shared_ptr<const std::intptr_t> SystemHandle() const {
        return nullptr;
    }

protected:
    IByteSource() = default;
    IByteSource(const IByteSource&) = default;
    IByteSource& operator=(const IByteSource&) = default;
};

using CSourcePointer = std::shared_ptr<const IByteSource>;

/// Finds the files that parent locators name. Called by one thread at a time for each disk that is
/// opened.
class ISourceOpener {
public:
    virtual ~ISourceOpener() = default;

    /// Null, with the reason in `failure`, when there is no such source or it cannot be opened.
    [[nodiscard]] virtual CSourcePointer Open(const std::filesystem::path& path,
                                              CFailure& failure) const = 0;

    /// One name for a source, however it is reached, so that a circle of parents is noticed.
    [[nodiscard]] virtual std::filesystem::path Canonical(const std::filesystem::path& path) const {
        return path;
    }

    /// Whether the source may be opened at all to see whether it is the parent. Asked of paths that
    /// a disk file records and nobody else named.
    [[nodiscard]] virtual bool MayBeDisk(const std::filesystem::path& path) const {
        (void)path;
        return true;
    }

protected:
    ISourceOpener() = default;
    ISourceOpener(const ISourceOpener&) = default;
    ISourceOpener& operator=(const ISourceOpener&) = default;
};

/// Opens a regular file or a disk device, shared with readers and writers, for reading by position.
/// Anything else, a pipe for instance, could block the caller and is refused.
///
/// All files opened so share at most 64 descriptors in the process: the file that was not read for
/// longest is closed and opened again when it is needed, and must then be the same file, of the
/// same size and with the same identifiers in its headers.
[[nodiscard]] VHDX_DISK_API CSourcePointer OpenFile(const std::filesystem::path& path,
                                                    CFailure& failure);

/// The opener of files, which is used where a host names none. Lives as long as the program.
[[nodiscard]] VHDX_DISK_API const ISourceOpener& FileOpener();

}  // namespace NVHDXDisk

#endif
