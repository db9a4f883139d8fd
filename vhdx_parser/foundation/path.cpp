#include "vhdx_parser/foundation/path.h"

#include <system_error>
#include <utility>

namespace NPath {
namespace {

namespace fs = std::filesystem;

/// Runs a conversion between names and native paths, which throws when characters are missing.
template <class TConversion>
auto Convert(TConversion conversion) -> std::optional<decltype(conversion())> {
    try {
        return conversion();
    } catch (const std::system_error&) {
        return std::nullopt;
    }
}

/// Where native names are bytes, wide names stand for UTF-8. `std::filesystem` says so of UTF-32
/// only: for `wchar_t`, libstdc++ asks the "C" locale, which has no characters beyond ASCII.
constexpr bool wideIsUtf32 = sizeof(fs::path::value_type) == 1 && sizeof(wchar_t) == 4;

/// Where native names are wide, libstdc++ gives narrow names as UTF-8, but takes them as the "C"
/// locale does, so that a name that it gave would not find its file again.
#if defined(__GLIBCXX__)
constexpr bool narrowIsUtf8 = sizeof(fs::path::value_type) > 1;
#else
constexpr bool narrowIsUtf8 = false;
#endif

template <class TChar>
fs::path PathOf(const std::basic_string<TChar>& text) {
    if constexpr (wideIsUtf32 && sizeof(TChar) == 4) {
        return std::u32string(text.begin(), text.end());
    } else if constexpr (narrowIsUtf8 && sizeof(TChar) == 1) {
        return std::u8string(text.begin(), text.end());
    } else {
        return text;
    }
}

template <class TChar>
std::basic_string<TChar> TextOf(const fs::path& path) {
    if constexpr (wideIsUtf32 && sizeof(TChar) == 4) {
        const std::u32string text = path.u32string();
        return std::basic_string<TChar>(text.begin(), text.end());
    } else {
        return path.string<TChar>();
    }
}

template <class TChar>
std::optional<fs::path> ConvertPath(std::basic_string<TChar> path) {
    if (path.find(TChar()) != path.npos) {
        return std::nullopt;
    }
    const std::size_t separator = FindLastSeparator(path);
    if (separator != path.npos) {
        path[separator] = static_cast<TChar>(fs::path::preferred_separator);
    }
    return Convert([&path] { return PathOf(path); });
}

/// A separator at the end makes "D:" the root of the drive, as it is in a joined path, and not the
/// drive's current folder. An empty text stays empty, which is no folder.
template <class TChar>
std::optional<fs::path> ConvertFolder(const std::basic_string<TChar>& folder) {
    return ConvertPath(Join(folder, std::basic_string<TChar>()));
}

}  // namespace

std::optional<fs::path> ToNative(std::string path) {
    return ConvertPath(std::move(path));
}

std::optional<fs::path> ToNative(std::wstring path) {
    return ConvertPath(std::move(path));
}

std::optional<fs::path> FolderToNative(const std::string& folder) {
    return ConvertFolder(folder);
}

std::optional<fs::path> FolderToNative(const std::wstring& folder) {
    return ConvertFolder(folder);
}

template <class TChar>
std::optional<std::basic_string<TChar>> NameFromNative(const fs::path& path) {
    return Convert([&path] { return TextOf<TChar>(path.filename()); });
}

template std::optional<std::string> NameFromNative<char>(const fs::path& path);
template std::optional<std::wstring> NameFromNative<wchar_t>(const fs::path& path);

}  // namespace NPath
