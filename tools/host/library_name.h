#ifndef VHDX_HOST_LIBRARY_NAME_H
#define VHDX_HOST_LIBRARY_NAME_H

#include <filesystem>
#include <string>

namespace NVHDXHost {

/// The path of a narrow name that the library gave. Built with libstdc++ for Windows it gives
/// UTF-8, which `std::filesystem::path` would take for characters of the locale.
[[nodiscard]] inline std::filesystem::path PathFromLibrary(const std::string& name) {
#if defined(_WIN32) && defined(__GLIBCXX__)
    return std::u8string(name.begin(), name.end());
#else
    return name;
#endif
}

}  // namespace NVHDXHost

#endif
