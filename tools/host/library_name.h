#ifndef VHDX_HOST_LIBRARY_NAME_H
#define VHDX_HOST_LIBRARY_NAME_H

#include <filesystem>

namespace NVHDXHost {

/// The names of the library that are those of the platform: narrow where these are bytes, wide on
/// Windows, where a narrow name cannot have every character.
using CPlatformName = std::filesystem::path::string_type;
using CPlatformLetter = CPlatformName::value_type;

}  // namespace NVHDXHost

#endif
