#ifndef VHDX_HOST_PATH_QUERY_H
#define VHDX_HOST_PATH_QUERY_H

/// What lies at a path: the one place that asks. `std::filesystem` asks the C runtime of Windows,
/// which refuses each name with a '?' in it, and so the paths of snapshots and devices. One
/// implementation for each platform: path_query_posix.cpp and path_query_windows.cpp.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <system_error>

namespace NVHDXHost {

/// Of what a link leads to: `not_found`, `regular`, `directory`, or what else it is; `none`, with
/// `error` set, where it cannot be told.
[[nodiscard]] std::filesystem::file_type KindOf(const std::filesystem::path& path,
                                                std::error_code& error);

/// As `KindOf`, of a link itself.
[[nodiscard]] std::filesystem::file_type KindOfLink(const std::filesystem::path& path,
                                                    std::error_code& error);

[[nodiscard]] bool IsFolder(const std::filesystem::path& path);

/// What changes when a file is written.
struct CFileState {
    std::uint64_t size = 0;    ///< bytes
    std::int64_t changed = 0;  ///< time of the last change, in the units of the platform's clock
};

/// Of a regular file; none where there is no such file, or it cannot be told.
[[nodiscard]] std::optional<CFileState> StateOf(const std::filesystem::path& path);

/// One name for a file, however it is reached; the path itself where there is no such name.
[[nodiscard]] std::filesystem::path Canonical(const std::filesystem::path& path);

/// False, too, where one of them is not there.
[[nodiscard]] bool AreSameFile(const std::filesystem::path& one,
                               const std::filesystem::path& other);

}  // namespace NVHDXHost

#endif
