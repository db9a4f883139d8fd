#ifndef VHDX_DISK_SOURCE_FAIL_H
#define VHDX_DISK_SOURCE_FAIL_H

/// The one way to fail.

#include <filesystem>
#include <string>
#include <system_error>

#include <vhdx_disk/failure.h>

namespace NVHDXDisk {

/// Fills `failure` and answers false.
inline bool Fail(CFailure& failure, CFailure::EKind kind, const std::filesystem::path& file,
                 const std::string& reason, int error = 0) {
    failure = MakeFailure(kind, file, reason, error);
    return false;
}

/// The text, and what the system calls the error, where it is one.
inline std::string WithMessage(const std::string& text, int error) {
    return error == 0 ? text : text + ": " + std::generic_category().message(error);
}

/// Whether bytes did not come because the system refused them or the file is another one now. That
/// is neither damage nor an end: the file may be as it should. A file that has no such bytes
/// refuses nothing.
inline bool IsRefused(const CFailure& cause) {
    const bool isAtEnd = cause.kind == CFailure::cannotBeRead && cause.error == 0;
    return cause.kind != CFailure::none && !isAtEnd;
}

/// The same as `Fail` where reading failed for `cause`, if at all; a refusal is told instead.
inline bool FailBecause(const CFailure& cause, CFailure& failure, CFailure::EKind kind,
                        const std::filesystem::path& file, const std::string& reason) {
    if (!IsRefused(cause)) {
        return Fail(failure, kind, file, reason);
    }
    failure = cause;
    return false;
}

/// The same failure, of which the reason begins with what could not be done because of it.
inline CFailure Because(const CFailure& cause, const std::string& what) {
    return MakeFailure(cause.kind, cause.file, what + ": " + cause.reason, cause.error);
}

}  // namespace NVHDXDisk

#endif
