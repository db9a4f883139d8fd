#ifndef VHDX_DISK_PATH_QUERY_H
#define VHDX_DISK_PATH_QUERY_H

/// What lies at a path, and what it is called. The questions are asked here because on Windows
/// `std::filesystem` puts them to the C runtime, which refuses each name with a '?' in it, and so
/// the paths of snapshots and devices. All functions are safe to call from any thread.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include <vhdx_disk/export.h>

namespace NVHDXDisk {

/// Of what a link leads to: `not_found`, `regular`, `directory`, or what else it is; `none`, with
/// `error` set, where it cannot be told.
[[nodiscard]] VHDX_DISK_API std::filesystem::file_type KindOf(const std::filesystem::path& path,
                                                              std::error_code& error);

/// As `KindOf`, of a link itself.
[[nodiscard]] VHDX_DISK_API std::filesystem::file_type KindOfLink(const std::filesystem::path& path,
                                                                  std::error_code& error);

/// False, with `error` set, where it cannot be told.
[[nodiscard]] VHDX_DISK_API bool IsFolder(const std::filesystem::path& path,
                                          std::error_code& error);
/// What changes when a file is written.
struct CFileState {
    std::uint64_t size = 0;    ///< bytes
    std::int64_t changed = 0;  ///< time of the last change, in the units of the platform's clock
};

/// Of a regular file; none where there is no such file, or, with `error` set, where it cannot be
/// told.
[[nodiscard]] VHDX_DISK_API std::optional<CFileState> StateOf(const std::filesystem::path& path,
                                                              std::error_code& error);

/// One name for a file, however it is reached; the path itself where there is no such name.
[[nodiscard]] VHDX_DISK_API std::filesystem::path Canonical(const std::filesystem::path& path);

/// False, too, where one of them is not there.
[[nodiscard]] VHDX_DISK_API bool AreSameFile(const std::filesystem::path& one,
                                             const std::filesystem::path& other);

/// A path as UTF-8; on POSIX its bytes as they are, whatever they do to a terminal.
[[nodiscard]] VHDX_DISK_API std::string TextOf(const std::filesystem::path& path);

/// The text with everything that could steer a terminal or mislead the eye (control characters,
/// ends of lines, direction marks, bytes that are no UTF-8) written as an escape, so that neither a
/// disk file nor its name can do either. A text that was made so stays as it is. The library's own
/// sentences, of failures, findings and forecasts, are made so.
[[nodiscard]] VHDX_DISK_API std::string Printable(std::string_view utf8);

/// The UTF-8 form of UTF-16 code units, one in each character, as a parent locator holds them;
/// U+FFFD for an unpaired surrogate. Where `wchar_t` has 32 bits a character may also be a whole
/// code point.
[[nodiscard]] VHDX_DISK_API std::string Utf8(std::wstring_view text);

#if defined(_WIN32)
/// The value of `errno` that stands for an error of Windows, as `GetLastError` gives it.
[[nodiscard]] VHDX_DISK_API int ErrorNumber(unsigned long windowsError);
#endif

}  // namespace NVHDXDisk

#endif
