#ifndef VHDX_PARSER_FOUNDATION_GUID_TEXT_H
#define VHDX_PARSER_FOUNDATION_GUID_TEXT_H

/// The braced text of a GUID, "{2DC27766-F623-4200-9D64-115E9BFD4A08}", and back.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include <vhdx_parser/platform.h>

#include "vhdx_parser/foundation/little_endian.h"

namespace NGuidText {

inline constexpr std::size_t Length = 38;

inline void AppendHexadecimal(std::string& text, std::uint64_t number, unsigned digits) {
    while (digits > 0) {
        --digits;
        text += "0123456789ABCDEF"[(number >> (4 * digits)) & 0xF];
    }
}

/// In upper case.
inline std::string TextOf(const _GUID& guid) {
    std::string text = "{";
    AppendHexadecimal(text, guid.Data1, 8);
    text += '-';
    AppendHexadecimal(text, guid.Data2, 4);
    text += '-';
    AppendHexadecimal(text, guid.Data3, 4);
    text += '-';
    AppendHexadecimal(text, guid.Data4[0], 2);
    AppendHexadecimal(text, guid.Data4[1], 2);
    text += '-';
    for (std::size_t i = 2; i < 8; ++i) {
        AppendHexadecimal(text, guid.Data4[i], 2);
    }
    text += '}';
    return text;
}

template <class TChar>
constexpr std::optional<unsigned> DigitOf(TChar character) {
    if (character >= TChar('0') && character <= TChar('9')) {
        return static_cast<unsigned>(character - TChar('0'));
    }
    if (character >= TChar('a') && character <= TChar('f')) {
        return static_cast<unsigned>(character - TChar('a')) + 10;
    }
    if (character >= TChar('A') && character <= TChar('F')) {
        return static_cast<unsigned>(character - TChar('A')) + 10;
    }
    return std::nullopt;
}

constexpr bool IsHyphenPlace(std::size_t index) {
    return index == 9 || index == 14 || index == 19 || index == 24;
}

/// Which byte of the 16 on disk each pair of digits spells: the first three groups are numbers.
inline constexpr std::array<std::size_t, 16> ByteOrder = {3, 2, 1,  0,  5,  4,  7,  6,
                                                          8, 9, 10, 11, 12, 13, 14, 15};

/// Digits in either case. None for any other text, one without braces or with blanks around it too.
template <class TChar>
std::optional<_GUID> Parse(std::basic_string_view<TChar> text) {
    if (text.size() != Length || text.front() != TChar('{') || text.back() != TChar('}')) {
        return std::nullopt;
    }
    CGuidOnDisk guid = {};
    unsigned char bytes[sizeof guid] = {};
    std::size_t digits = 0;
    for (std::size_t index = 1; index + 1 < Length; ++index) {
        if (IsHyphenPlace(index)) {
            if (text[index] != TChar('-')) {
                return std::nullopt;
            }
            continue;
        }
        const auto digit = DigitOf(text[index]);
        if (!digit) {
            return std::nullopt;
        }
        unsigned char& byte = bytes[ByteOrder[digits / 2]];
        byte = static_cast<unsigned char>(unsigned{byte} << 4 | *digit);
        ++digits;
    }
    std::memcpy(&guid, bytes, sizeof guid);
    return guid.Value();
}

}  // namespace NGuidText

#endif
