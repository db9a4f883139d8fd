#ifndef VHDX_DISK_SOURCE_LOCAL_FILE_H
#define VHDX_DISK_SOURCE_LOCAL_FILE_H

#include <filesystem>

#include <vhdx_disk/failure.h>

namespace NVHDXDisk {

/// Whether the path leads to a file with a size, which a disk file is. False, with the reason in
/// `failure`, for what is not there and for what is none, a pipe for instance: to open it could
/// block who does.
[[nodiscard]] bool IsFileWithSize(const std::filesystem::path& path, CFailure& failure);

}  // namespace NVHDXDisk

#endif
