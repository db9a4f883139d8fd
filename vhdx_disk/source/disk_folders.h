#ifndef VHDX_DISK_SOURCE_DISK_FOLDERS_H
#define VHDX_DISK_SOURCE_DISK_FOLDERS_H

#include <filesystem>
#include <vector>

#include <vhdx_disk/failure.h>
namespace NVHDXDisk {

/// A folder with all folders below it, and the disk files in them. Each folder comes before those
/// below it; the items of a folder come by name.
struct CDiskFolders {
    std::vector<std::filesystem::path> folders;  ///< that could be read
    std::vector<CFailure> unreadable;            ///< of folders that could not, why
    std::vector<std::filesystem::path> disks;
};

/// Looks for files with the extensions "vhdx" and "avhdx", in any case. Links to folders are not
/// followed: they can lead in a circle, and out of the folder. No file is opened.
[[nodiscard]] CDiskFolders FindDisksBelow(const std::filesystem::path& folder);

}  // namespace NVHDXDisk

#endif
