#ifndef VHDX_DISK_SOURCE_FAIL_H
#define VHDX_DISK_SOURCE_FAIL_H

/// The one way to fail.

#include <filesystem>
#include <string>

#include <vhdx_disk/failure.h>

namespace NVHDXDisk {

/// Fills `failure` and answers false.
inline bool Fail(CFailure& failure, CFailure::EKind kind, const std::filesystem::path& file,
                 const std::string& reason, int error = 0) {
    failure = MakeFailure(kind, file, reason, error);
    return false;
}

/// The same where reading failed for `cause`, if at all. What has a reason of its own, that the
/// system refused it or that the file is another one now, is told instead: the file that is asked
/// about may be as it should.
inline bool FailBecause(const CFailure& cause, CFailure& failure, CFailure::EKind kind,
                        const std::filesystem::path& file, const std::string& reason) {
    const bool isAtEnd = cause.kind == CFailure::cannotBeRead && cause.error == 0;
    if (cause.kind == CFailure::none || isAtEnd) {
        return Fail(failure, kind, file, reason);
    }
    failure = cause;
    return false;
}

}  // namespace NVHDXDisk

#endif
