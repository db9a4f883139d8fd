#include "vhdx_parser/foundation/code_page.h"

#include <climits>
#include <clocale>

#include <windows.h>

#include "vhdx_parser/foundation/utf16.h"

#if defined(_MSC_VER)
extern "C" unsigned int __cdecl ___lc_codepage_func();
#endif

namespace NCodePage {
namespace {

using NUtf16::IsHighSurrogate;
using NUtf16::IsLowSurrogate;

/// Windows would make halves of a pair U+FFFD, which a file name may have.
std::wstring WithoutHalves(std::wstring_view text) {
    std::wstring whole(text);
    for (std::size_t i = 0; i < whole.size(); ++i) {
        if (IsHighSurrogate(whole[i]) && i + 1 < whole.size() && IsLowSurrogate(whole[i + 1])) {
            ++i;
        } else if (IsHighSurrogate(whole[i]) || IsLowSurrogate(whole[i])) {
            whole[i] = L'?';
        }
    }
    return whole;
}

/// Windows takes no choice of replacements for UTF-8, which has every character.
int Convert(const std::wstring& text, unsigned codePage, char* bytes, int room) {
    const bool hasAll = codePage == CP_UTF8;
    return WideCharToMultiByte(codePage, hasAll ? 0 : WC_NO_BEST_FIT_CHARS, text.data(),
                               static_cast<int>(text.size()), bytes, room, hasAll ? nullptr : "?",
                               nullptr);
}

}  // namespace

unsigned OfFileNames() {
    if (___lc_codepage_func() == CP_UTF8) {
        return CP_UTF8;
    }
    return AreFileApisANSI() != 0 ? GetACP() : GetOEMCP();
}

std::optional<std::wstring> Widen(std::string_view text, unsigned codePage) {
    if (text.empty() || text.size() > INT_MAX) {
        return text.empty() ? std::optional(std::wstring()) : std::nullopt;
    }
    const int size = static_cast<int>(text.size());
    // No code page makes more units of a text than it has bytes.
    std::wstring wide(text.size(), L'\0');
    const int length =
        MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, text.data(), size, wide.data(), size);
    if (length <= 0) {
        return std::nullopt;
    }
    wide.resize(static_cast<std::size_t>(length));
    return wide;
}

std::optional<std::string> Narrow(std::wstring_view text, unsigned codePage) {
    if (text.empty() || text.size() > INT_MAX) {
        return text.empty() ? std::optional(std::string()) : std::nullopt;
    }
    const std::wstring whole = WithoutHalves(text);
    const int length = Convert(whole, codePage, nullptr, 0);
    if (length <= 0) {
        return std::nullopt;
    }
    std::string narrow(static_cast<std::size_t>(length), '\0');
    return Convert(whole, codePage, narrow.data(), length) == length ? std::optional(narrow)
                                                                     : std::nullopt;
}

std::size_t FindLastSeparator(std::string_view path, unsigned codePage) {
    std::size_t last = path.npos;
    for (std::size_t i = 0; i < path.size(); ++i) {
        if (IsDBCSLeadByteEx(codePage, static_cast<BYTE>(path[i])) != 0) {
            ++i;
        } else if (path[i] == '\\' || path[i] == '/') {
            last = i;
        }
    }
    return last;
}

}  // namespace NCodePage
