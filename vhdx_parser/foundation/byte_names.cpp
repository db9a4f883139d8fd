#include "vhdx_parser/foundation/byte_names.h"

#include <cstdint>
#include <iterator>

namespace NByteNames {
namespace {

using TPoint = std::uint32_t;

constexpr TPoint firstHighSurrogate = 0xD800;
constexpr TPoint firstLowSurrogate = 0xDC00;
constexpr TPoint afterSurrogates = 0xE000;
constexpr TPoint afterAll = 0x110000;

bool IsWithin(TPoint point, TPoint begin, TPoint end) {
    return point >= begin && point < end;
}

/// A form of UTF-8: how many bytes a character has, the smallest that needs them, and what marks
/// the first byte.
struct CLead {
    std::size_t length;
    TPoint smallest;
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
    TPoint point;
    std::size_t length;
};

/// The point that `bytes` begin with in this form, if they do.
std::optional<CDecoded> DecodeAs(const CLead& lead, std::string_view bytes) {
    const auto first = static_cast<unsigned char>(bytes[0]);
    if ((first & lead.mask) != lead.mark || bytes.size() < lead.length) {
        return std::nullopt;
    }
    TPoint point = first & static_cast<unsigned char>(~lead.mask);
    for (const char character : bytes.substr(1, lead.length - 1)) {
        const auto byte = static_cast<unsigned char>(character);
        if ((byte & 0xC0) != 0x80) {
            return std::nullopt;
        }
        point = point << 6 | (byte & 0x3F);
    }
    const bool isCharacter = IsWithin(point, lead.smallest, afterAll) &&
                             !IsWithin(point, firstHighSurrogate, afterSurrogates);
    return isCharacter ? std::optional(CDecoded{point, lead.length}) : std::nullopt;
}

/// A character, or the lone surrogate of a byte that begins none.
CDecoded Decode(std::string_view bytes) {
    for (const CLead& lead : leads) {
        if (const auto decoded = DecodeAs(lead, bytes)) {
            return *decoded;
        }
    }
    return {firstLowSurrogate | static_cast<unsigned char>(bytes[0]), 1};
}

void Append(std::string& bytes, TPoint point) {
    const CLead* lead = std::end(leads) - 1;
    while (point < lead->smallest) {
        --lead;
    }
    std::size_t shift = 6 * (lead->length - 1);
    bytes += static_cast<char>(lead->mark | point >> shift);
    while (shift > 0) {
        shift -= 6;
        bytes += static_cast<char>(0x80 | (point >> shift & 0x3F));
    }
}

bool AppendCharacter(std::string& bytes, TPoint point) {
    if (IsWithin(point, firstLowSurrogate | 0x80, firstLowSurrogate | 0x100)) {
        bytes += static_cast<char>(point & 0xFF);
        return true;
    }
    if (point >= afterAll || IsWithin(point, firstHighSurrogate, afterSurrogates)) {
        return false;
    }
    Append(bytes, point);
    return true;
}

/// Whether the two characters are a pair of UTF-16.
bool IsPair(std::wstring_view two) {
    return two.size() == 2 &&
           IsWithin(static_cast<TPoint>(two[0]), firstHighSurrogate, firstLowSurrogate) &&
           IsWithin(static_cast<TPoint>(two[1]), firstLowSurrogate, afterSurrogates);
}

wchar_t OfPair(std::wstring_view pair) {
    const TPoint high = static_cast<TPoint>(pair[0]) - firstHighSurrogate;
    const TPoint low = static_cast<TPoint>(pair[1]) - firstLowSurrogate;
    return static_cast<wchar_t>(0x10000 + (high << 10) + low);
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
        if (!AppendCharacter(bytes, static_cast<TPoint>(character))) {
            return std::nullopt;
        }
    }
    return bytes;
}

std::wstring WithoutPairs(std::wstring_view text) {
    std::wstring points;
    while (!text.empty()) {
        const bool isPair = IsPair(text.substr(0, 2));
        points += isPair ? OfPair(text) : text[0];
        text.remove_prefix(isPair ? 2 : 1);
    }
    return points;
}

}  // namespace NByteNames
