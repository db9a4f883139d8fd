#ifndef VHDX_DISK_SOURCE_FREE_DESCRIPTORS_H
#define VHDX_DISK_SOURCE_FREE_DESCRIPTORS_H

#include <cstddef>

namespace NVHDXDisk {

/// How many more files this process may open now, counted up to `most`. One implementation for each
/// platform: system_file_posix.cpp and system_file_windows.cpp.
[[nodiscard]] std::size_t FreeDescriptors(std::size_t most);

}  // namespace NVHDXDisk

#endif
