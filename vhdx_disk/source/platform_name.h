#ifndef VHDX_DISK_SOURCE_PLATFORM_NAME_H
#define VHDX_DISK_SOURCE_PLATFORM_NAME_H

#include <filesystem>

namespace NVHDXDisk {

/// The names of the library that are those of the platform: narrow where these are bytes, wide on
/// Windows, where a narrow name cannot have every character.
using CPlatformName = std::filesystem::path::string_type;
using CPlatformLetter = CPlatformName::value_type;

}  // namespace NVHDXDisk

#endif
