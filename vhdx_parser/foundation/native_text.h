#ifndef VHDX_PARSER_FOUNDATION_NATIVE_TEXT_H
#define VHDX_PARSER_FOUNDATION_NATIVE_TEXT_H

/// Names of the library in the encoding of the platform, and back. One implementation for each
/// platform: native_text_posix.cpp and native_text_windows.cpp.

#include <filesystem>
#include <optional>
#include <string>

namespace NNativeText {

using TNative = std::filesystem::path::string_type;

/// Absent when the text holds characters that the platform's encoding does not have, or is no text
/// in its own.
std::optional<TNative> FromText(const std::string& text);
std::optional<TNative> FromText(const std::wstring& text);

/// What a name of the platform is called. Absent when it has no such form.
std::optional<std::string> ToNarrow(const TNative& name);
std::optional<std::wstring> ToWide(const TNative& name);

template <class TChar>
std::optional<std::basic_string<TChar>> ToText(const TNative& name) {
    if constexpr (sizeof(TChar) == 1) {
        return ToNarrow(name);
    } else {
        return ToWide(name);
    }
}

/// The position of the last '\' or '/' that is a character of its own, or `npos`.
std::size_t FindLastSeparator(const std::string& text);

/// The name in the encoding in which names are compared with one another. Of the wide names some
/// are UTF-16, those that a disk keeps, and others UTF-32, where that is what the platform has.
std::string ToCompare(const std::string& name);
std::wstring ToCompare(const std::wstring& name);

}  // namespace NNativeText

#endif
