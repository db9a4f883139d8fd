#include <array>
#include <cstddef>
#include <cstdint>

#include <vhdx_disk/path_query.h>

#include "vhdx_parser/foundation/utf16.h"

namespace NVHDXDisk {

namespace {

/// The length of the well-formed sequence at the front of a non-empty text; 0 when there is none.
std::size_t DecodePoint(std::string_view text, char32_t& point) {
    const auto byte = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(0);
    const std::size_t length = first < 0x80   ? 1
                               : first < 0xC2 ? 0
                               : first < 0xE0 ? 2
                               : first < 0xF0 ? 3
                                              : 4;
    if (length == 0 || first > 0xF4 || text.size() < length) {
        return 0;
    }
    constexpr std::array<unsigned char, 5> leadBits = {0, 0x7F, 0x1F, 0x0F, 0x07};
    point = first & leadBits[length];
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return 0;
        }
        point = point << 6 | (byte(i) & 0x3FU);
    }
    constexpr std::array<char32_t, 5> smallest = {0, 0, 0x80, 0x800, 0x10000};
    return point < smallest[length] || !NUtf16::IsCodePoint(point) ? 0 : length;
}

bool IsHarmless(char32_t point) {
    const bool control = point < 0x20 || (point >= 0x7F && point < 0xA0);
    const bool separator = point == 0x2028 || point == 0x2029;
    const bool direction = point == 0x200E || point == 0x200F || point == 0x061C ||
                           (point >= 0x202A && point <= 0x202E) ||
                           (point >= 0x2066 && point <= 0x2069);
    return !control && !separator && !direction;
}

/// In upper case, with no more digits than it takes.
void AppendHexadecimal(std::string& text, std::uint32_t number, unsigned fewestDigits) {
    unsigned digits = fewestDigits;
    while (digits < 8 && number >> 4 * digits != 0) {
        ++digits;
    }
    while (digits > 0) {
        --digits;
        text += "0123456789ABCDEF"[number >> 4 * digits & 0xF];
    }
}

void AppendByte(std::string& text, char byte) {
    text += "\\x";
    AppendHexadecimal(text, static_cast<unsigned char>(byte), 2);
}

void AppendPoint(std::string& text, char32_t point) {
    text += "\\u{";
    AppendHexadecimal(text, static_cast<std::uint32_t>(point), 1);
    text += '}';
}

}  // namespace

std::string Printable(std::string_view utf8) {
    std::string printable;
    printable.reserve(utf8.size());
    while (!utf8.empty()) {
        char32_t point = 0;
        const std::size_t length = DecodePoint(utf8, point);
        if (length == 0) {
            AppendByte(printable, utf8.front());
        } else if (IsHarmless(point)) {
            printable += utf8.substr(0, length);
        } else {
            AppendPoint(printable, point);
        }
        utf8.remove_prefix(length == 0 ? 1 : length);
    }
    return printable;
}

}  // namespace NVHDXDisk
