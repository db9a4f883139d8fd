#ifndef VHDX_DISK_FAILURE_H
#define VHDX_DISK_FAILURE_H

/// Why an operation failed.
///
/// Every operation of the library that can fail takes a `CFailure&`, fills it when it returns
/// false, null or an absent result, and leaves it alone otherwise. Nothing is thrown but exhausted
/// memory and what a host's own callback throws.

#include <cstdint>
#include <filesystem>
#include <string>

#include <vhdx_disk/export.h>

namespace NVHDXDisk {

struct CFailure {
    enum EKind : std::int32_t {
        none,
        notFound,        ///< there is no such file or folder
        cannotBeOpened,  ///< it is there, and the system does not open it, or it is no file
        notADisk,        ///< the file is no VHDX container
        damaged,         ///< it is one, and what is needed of its structures is wrong
        logNotReplayed,  ///< it has a log, or may have one, that cannot be replayed
        parentMissing,
        parentChanged,     ///< a parent was changed since the child was made, or nobody can tell
        circle,            ///< the parents lead back to a file of the chain
        outOfRange,        ///< what was asked for is not inside the disk
        cannotBeRead,      ///< bytes that the file should have do not come
        changedMeanwhile,  ///< the file is not the one, or not as, it was when it was opened
        stopped,           ///< the caller's own callback asked for it
        targetFailed       ///< the caller's target did not take the bytes
    };

    EKind kind = none;
    std::filesystem::path file;  ///< whom it is about; empty when it is about no single file
    /// One sentence for people, in UTF-8 and safe to print (`Printable`); it begins with the file's
    /// name where it is about one.
    std::string text;
    std::string reason;  ///< the same without the name, for who names the file in his own way
    int error = 0;       ///< the system's number (`errno`) where it refused something, else 0
};

/// The kind as a word for programs: "not-found", "damaged", ... Safe to call from any thread.
[[nodiscard]] VHDX_DISK_API const char* NameOf(CFailure::EKind kind);

/// A failure of this kind. `file` may be empty.
[[nodiscard]] VHDX_DISK_API CFailure MakeFailure(CFailure::EKind kind,
                                                 const std::filesystem::path& file,
                                                 const std::string& reason, int error = 0);

}  // namespace NVHDXDisk

#endif
