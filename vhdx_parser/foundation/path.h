#ifndef VHDX_PARSER_FOUNDATION_PATH_H
#define VHDX_PARSER_FOUNDATION_PATH_H

/// How a path of the library becomes a path of the platform, for narrow and for wide names.
///
/// The library separates names with '\' or '/', whatever the platform does; only the last separator
/// of a path is its own, so only that one is translated.

#include <filesystem>
#include <optional>
#include <string>

namespace NPath {

/// The position of the last separator, or `npos`.
std::size_t FindLastSeparator(const std::string& path);
std::size_t FindLastSeparator(const std::wstring& path);

template <class TChar>
bool EndsInSeparator(const std::basic_string<TChar>& path) {
    return !path.empty() && FindLastSeparator(path) == path.size() - 1;
}

/// `folder`, a '\' unless it is empty or ends in a separator, and `name`.
template <class TChar>
std::basic_string<TChar> Join(std::basic_string<TChar> folder,
                              const std::basic_string<TChar>& name) {
    if (!folder.empty() && !EndsInSeparator(folder)) {
        folder += TChar('\\');
    }
    return folder += name;
}

/// The path under which the platform knows `path`. Absent when the text is no path of the platform:
/// it holds a zero character, or characters that its encoding does not have.
std::optional<std::filesystem::path> ToNative(const std::string& path);
std::optional<std::filesystem::path> ToNative(const std::wstring& path);

/// The path under which the platform knows `folder`, with a separator at its end unless it is
/// empty.
std::optional<std::filesystem::path> FolderToNative(const std::string& folder);
std::optional<std::filesystem::path> FolderToNative(const std::wstring& folder);

}  // namespace NPath

#endif
