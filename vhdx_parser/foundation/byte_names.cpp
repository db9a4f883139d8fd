#include "vhdx_parser/foundation/byte_names.h"

#include <cstddef>

#include "vhdx_parser/foundation/utf16.h"

namespace NByteNames {
namespace {

/// A form of UTF-8: how many bytes a character has, the smallest that needs them, and what marks
/// the first byte.
struct CLead {
    std::size_t length;
    char32_t smallest;
    unsigned char mask;
    unsigned char mark;
};

constexpr CLead leads[] = {
    {1, 0, 0x80, 0x00},
    {2, 0x80, 0xE0, 0xC0},
    {3, 0x800, 0xF0, 0xE0},
    {4, 0x10000, 0xF8, 0xF0},
};

struct CDecoded {
    char32_t point;
    std::size_t length;
};

/// The point that `bytes` begin with in this form, if they do.
std::optional<CDecoded> DecodeAs(const CLead& lead, std::string_view bytes) {
    const auto first = static_cast<unsigned char>(bytes[0]);
    if ((first & lead.mask) != lead.mark || bytes.size() < lead.length) {
        return std::nullopt;
    }
    char32_t point = first & static_cast<unsigned char>(~lead.mask);
    for (const char character : bytes.substr(1, lead.length - 1)) {
        const auto byte = static_cast<unsigned char>(character);
        if ((byte & 0xC0) != 0x80) {
            return std::nullopt;
        }
        point = point << 6 | (byte & 0x3F);
    }
    const bool isCharacter = point >= lead.smallest && NUtf16::IsCodePoint(point);
    return isCharacter ? std::optional(CDecoded{point, lead.length}) : std::nullopt;
}

/// A character, or the lone surrogate of a byte that begins none.
CDecoded Decode(std::string_view bytes) {
    for (const CLead& lead : leads) {
        if (const auto decoded = DecodeAs(lead, bytes)) {
            return *decoded;
        }
    }
    return {NUtf16::FirstLowSurrogate | static_cast<unsigned char>(bytes[0]), 1};
}

bool AppendCharacter(std::string& bytes, char32_t point) {
    if (point >= (NUtf16::FirstLowSurrogate | 0x80) &&
        point < (NUtf16::FirstLowSurrogate | 0x100)) {
        bytes += static_cast<char>(point & 0xFF);
        return true;
    }
    if (!NUtf16::IsCodePoint(point)) {
        return false;
    }
    NUtf16::AppendUtf8(bytes, point);
    return true;
}

}  // namespace

std::wstring Widen(std::string_view bytes) {
    std::wstring text;
    while (!bytes.empty()) {
        const CDecoded decoded = Decode(bytes);
        text += static_cast<wchar_t>(decoded.point);
        bytes.remove_prefix(decoded.length);
    }
    return text;
}

std::optional<std::string> BytesOf(std::wstring_view text) {
    std::string bytes;
    for (const wchar_t character : WithoutPairs(text)) {
        if (!AppendCharacter(bytes, static_cast<char32_t>(character))) {
            return std::nullopt;
        }
    }
    return bytes;
}

std::wstring WithoutPairs(std::wstring_view text) {
    std::wstring points;
    while (!text.empty()) {
        points += static_cast<wchar_t>(NUtf16::TakePoint(text));
    }
    return points;
}

}  // namespace NByteNames
