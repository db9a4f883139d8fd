#include "vhdx_parser/foundation/native_text.h"

#include "vhdx_parser/foundation/byte_names.h"

namespace NNativeText {

std::optional<TNative> FromText(const std::string& text) {
    return text;
}

std::optional<TNative> FromText(const std::wstring& text) {
    return NByteNames::BytesOf(text);
}

std::optional<std::string> ToNarrow(const TNative& name) {
    return name;
}

std::optional<std::wstring> ToWide(const TNative& name) {
    return NByteNames::Widen(name);
}

std::size_t FindLastSeparator(const std::string& text) {
    return text.find_last_of("\\/");
}

std::string ToCompare(const std::string& name) {
    return name;
}

std::wstring ToCompare(const std::wstring& name) {
    return NByteNames::WithoutPairs(name);
}

}  // namespace NNativeText
