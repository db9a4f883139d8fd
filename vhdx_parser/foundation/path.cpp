#include "vhdx_parser/foundation/path.h"

#include <utility>

#include "vhdx_parser/foundation/native_text.h"

namespace NPath {
namespace {

namespace fs = std::filesystem;

template <class TString>
std::size_t LastSeparatorByCharacters(const TString& path) {
    using TChar = typename TString::value_type;
    const TChar separators[] = {TChar('\\'), TChar('/'), TChar()};
    return path.find_last_of(separators);
}

template <class TChar>
std::optional<fs::path> ConvertPath(const std::basic_string<TChar>& path) {
    auto native = path.find(TChar()) == path.npos ? NNativeText::FromText(path) : std::nullopt;
    if (!native) {
        return std::nullopt;
    }
    const std::size_t separator = LastSeparatorByCharacters(*native);
    if (separator != native->npos) {
        (*native)[separator] = fs::path::preferred_separator;
    }
    return fs::path(std::move(*native));
}

/// A separator at the end makes "D:" the root of the drive, as it is in a joined path, and not the
/// drive's current folder. An empty text stays empty, which is no folder.
template <class TChar>
std::optional<fs::path> ConvertFolder(const std::basic_string<TChar>& folder) {
    return ConvertPath(Join(folder, std::basic_string<TChar>()));
}

}  // namespace

std::size_t FindLastSeparator(const std::string& path) {
    return NNativeText::FindLastSeparator(path);
}

std::size_t FindLastSeparator(const std::wstring& path) {
    return LastSeparatorByCharacters(path);
}

std::optional<fs::path> ToNative(const std::string& path) {
    return ConvertPath(path);
}

std::optional<fs::path> ToNative(const std::wstring& path) {
    return ConvertPath(path);
}

std::optional<fs::path> FolderToNative(const std::string& folder) {
    return ConvertFolder(folder);
}

std::optional<fs::path> FolderToNative(const std::wstring& folder) {
    return ConvertFolder(folder);
}

}  // namespace NPath
