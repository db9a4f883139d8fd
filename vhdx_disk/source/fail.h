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

}  // namespace NVHDXDisk

#endif
