#ifndef VHDX_PARSER_FOUNDATION_BYTE_NAMES_H
#define VHDX_PARSER_FOUNDATION_BYTE_NAMES_H

/// Wide names where the platform's names are bytes: a character for each code point of their UTF-8.
/// A byte that is no part of UTF-8 is the lone surrogate 0xDC00 + byte, which no character is, so
/// that every name has a wide form of its own and is found again under it.

#include <optional>
#include <string>
#include <string_view>

namespace NByteNames {

std::wstring Widen(std::string_view bytes);

/// The bytes that `text` stands for; a pair of surrogates, as UTF-16 has it, stands for one
/// character. Absent when a character of `text` has no bytes.
std::optional<std::string> BytesOf(std::wstring_view text);

/// `text` with one character in place of each pair of surrogates.
std::wstring WithoutPairs(std::wstring_view text);

}  // namespace NByteNames

#endif
