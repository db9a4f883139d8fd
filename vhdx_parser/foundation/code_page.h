#ifndef VHDX_PARSER_FOUNDATION_CODE_PAGE_H
#define VHDX_PARSER_FOUNDATION_CODE_PAGE_H

/// Narrow names of Windows in a code page. Built for Windows only.

#include <optional>
#include <string>
#include <string_view>

namespace NCodePage {

/// The code page in which `fopen` takes names at this moment: UTF-8 where the C locale is in it,
/// else the one of the process's file functions, ANSI or OEM.
unsigned OfFileNames();

/// Absent when the bytes are no text in this code page.
std::optional<std::wstring> Widen(std::string_view text, unsigned codePage);

/// With '?', which no file name has, in place of each character that the code page does not have:
/// a similar character could name another file. Absent for a code page that Windows does not know.
std::optional<std::string> Narrow(std::wstring_view text, unsigned codePage);

/// The position of the last separator, or `npos`. In some code pages the second byte of a character
/// can be that of '\'.
std::size_t FindLastSeparator(std::string_view path, unsigned codePage);

}  // namespace NCodePage

#endif
