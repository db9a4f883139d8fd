#ifndef VHDX_PARSER_FOUNDATION_UTF16_H
#define VHDX_PARSER_FOUNDATION_UTF16_H

/// Wide texts: a UTF-16 code unit in each character, as a disk keeps them. Where `wchar_t` has 32
/// bits a character may also be a whole code point.

#include <string>
#include <string_view>

namespace NUtf16 {

inline constexpr char32_t FirstHighSurrogate = 0xD800;
inline constexpr char32_t FirstLowSurrogate = 0xDC00;
inline constexpr char32_t FirstBehindSurrogates = 0xE000;
inline constexpr char32_t FirstOfPairs = 0x10000;
inline constexpr char32_t FirstBehindAll = 0x110000;
inline constexpr char32_t Replacement = 0xFFFD;

constexpr bool IsHighSurrogate(char32_t unit) {
    return unit >= FirstHighSurrogate && unit < FirstLowSurrogate;
}

constexpr bool IsLowSurrogate(char32_t unit) {
    return unit >= FirstLowSurrogate && unit < FirstBehindSurrogates;
}

/// Whether the number is a code point that stands for a character, which no surrogate does.
constexpr bool IsCodePoint(char32_t number) {
    return number < FirstBehindAll && !IsHighSurrogate(number) && !IsLowSurrogate(number);
}

/// Takes the first character, or the code point of the pair of surrogates that the text begins
/// with, off a text that is not empty. What is no half of a pair is taken as it stands.
inline char32_t TakePoint(std::wstring_view& text) {
    const auto first = static_cast<char32_t>(text[0]);
    const auto second = text.size() > 1 ? static_cast<char32_t>(text[1]) : char32_t{0};
    const bool isPair = IsHighSurrogate(first) && IsLowSurrogate(second);
    text.remove_prefix(isPair ? 2 : 1);
    return isPair
               ? FirstOfPairs + ((first - FirstHighSurrogate) << 10) + (second - FirstLowSurrogate)
               : first;
}

/// `point` is below `FirstBehindAll`.
inline void AppendUtf8(std::string& bytes, char32_t point) {
    constexpr unsigned char marks[] = {0x00, 0xC0, 0xE0, 0xF0};
    const unsigned tails = point < 0x80 ? 0 : point < 0x800 ? 1 : point < FirstOfPairs ? 2 : 3;
    unsigned shift = 6 * tails;
    bytes += static_cast<char>(marks[tails] | point >> shift);
    while (shift > 0) {
        shift -= 6;
        bytes += static_cast<char>(0x80 | (point >> shift & 0x3F));
    }
}

/// U+FFFD for an unpaired surrogate and for what is no code point.
inline std::string ToUtf8(std::wstring_view text) {
    std::string utf8;
    utf8.reserve(text.size());
    while (!text.empty()) {
        const char32_t point = TakePoint(text);
        AppendUtf8(utf8, IsCodePoint(point) ? point : Replacement);
    }
    return utf8;
}

/// The units as they stand, halves of pairs among them. A character beyond 16 bits becomes its
/// pair; one that is no code point keeps its low 16 bits.
inline std::u16string CodeUnits(std::wstring_view text) {
    std::u16string units;
    units.reserve(text.size());
    for (const wchar_t character : text) {
        const auto point = static_cast<char32_t>(character);
        if (point >= FirstOfPairs && IsCodePoint(point)) {
            const char32_t bits = point - FirstOfPairs;
            units += static_cast<char16_t>(FirstHighSurrogate + (bits >> 10));
            units += static_cast<char16_t>(FirstLowSurrogate + (bits & 0x3FF));
        } else {
            units += static_cast<char16_t>(point);
        }
    }
    return units;
}

}  // namespace NUtf16

#endif
