#include "vhdx_parser/foundation/code_page.h"
#include "vhdx_parser/foundation/native_text.h"

namespace NNativeText {

std::optional<TNative> FromText(const std::string& text) {
    return NCodePage::Widen(text, NCodePage::OfFileNames());
}

std::optional<TNative> FromText(const std::wstring& text) {
    return text;
}

std::optional<std::string> ToNarrow(const TNative& name) {
    return NCodePage::Narrow(name, NCodePage::OfFileNames());
}

std::optional<std::wstring> ToWide(const TNative& name) {
    return name;
}

std::size_t FindLastSeparator(const std::string& text) {
    return NCodePage::FindLastSeparator(text, NCodePage::OfFileNames());
}

std::string ToCompare(const std::string& name) {
    return name;
}

std::wstring ToCompare(const std::wstring& name) {
    return name;
}

}  // namespace NNativeText
