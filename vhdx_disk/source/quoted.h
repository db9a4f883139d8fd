#ifndef VHDX_DISK_SOURCE_QUOTED_H
#define VHDX_DISK_SOURCE_QUOTED_H

#include <filesystem>
#include <string>

#include <vhdx_disk/path_query.h>

namespace NVHDXDisk {

/// A text for people in double quotes.
[[nodiscard]] inline std::string QuotedText(const std::string& text) {
    return std::string(1, '"').append(Printable(text)).append(1, '"');
}

/// A path for people in double quotes.
[[nodiscard]] inline std::string Quoted(const std::filesystem::path& path) {
    return QuotedText(TextOf(path));
}

}  // namespace NVHDXDisk

#endif
