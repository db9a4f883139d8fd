#include "tools/vhdx/text.h"

#include <array>
#include <sstream>

#include <fmt/format.h>

namespace NTool {

namespace {

bool IsSurrogate(char32_t point) {
    return point >= 0xD800 && point <= 0xDFFF;
}

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
    return point < smallest[length] || point > 0x10FFFF || IsSurrogate(point) ? 0 : length;
}

bool IsHarmless(char32_t point) {
    const bool control = point < 0x20 || (point >= 0x7F && point < 0xA0);
    const bool separator = point == 0x2028 || point == 0x2029;
    const bool direction = point == 0x200E || point == 0x200F || point == 0x061C ||
                           (point >= 0x202A && point <= 0x202E) ||
                           (point >= 0x2066 && point <= 0x2069);
    return !control && !separator && !direction;
}

}  // namespace

std::string Printable(std::string_view utf8) {
    std::string printable;
    printable.reserve(utf8.size());
    while (!utf8.empty()) {
        char32_t point = 0;
        const std::size_t length = DecodePoint(utf8, point);
        if (length == 0) {
            printable += fmt::format("\\x{:02X}", static_cast<unsigned char>(utf8.front()));
        } else if (IsHarmless(point)) {
            printable += utf8.substr(0, length);
        } else {
            printable += fmt::format("\\u{{{:X}}}", static_cast<std::uint32_t>(point));
        }
        utf8.remove_prefix(length == 0 ? 1 : length);
    }
    return printable;
}

std::string InUnits(std::uint64_t bytes) {
    constexpr std::array<const char*, 7> units = {"bytes", "KiB", "MiB", "GiB",
                                                  "TiB",   "PiB", "EiB"};
    std::size_t unit = 0;
    while (unit + 1 < units.size() && bytes >> 10 * (unit + 1) != 0) {
        ++unit;
    }
    const std::uint64_t whole = bytes >> 10 * unit;
    if (whole << 10 * unit == bytes) {
        return fmt::format("{} {}", whole, units[unit]);
    }
    const double exact = static_cast<double>(bytes) / static_cast<double>(1ULL << 10 * unit);
    return fmt::format("{:.1f} {}", exact, units[unit]);
}

std::string SizeText(std::uint64_t bytes) {
    return bytes < 1024 ? InUnits(bytes) : fmt::format("{} ({} bytes)", InUnits(bytes), bytes);
}

std::string GuidText(const _GUID& guid) {
    std::ostringstream text;
    text << guid;
    return text.str();
}

std::string_view StateName(NVHDX::CPayloadBlock::EState state) {
    switch (state) {
        case NVHDX::CPayloadBlock::NotPresent:
            return "NotPresent";
        case NVHDX::CPayloadBlock::Undefined:
            return "Undefined";
        case NVHDX::CPayloadBlock::Zero:
            return "Zero";
        case NVHDX::CPayloadBlock::Unmapped:
            return "Unmapped";
        case NVHDX::CPayloadBlock::FullyPresent:
            return "FullyPresent";
        case NVHDX::CPayloadBlock::PartiallyPresent:
            return "PartiallyPresent";
    }
    return "unknown";
}

std::string_view LocatorKey(NVHDX::NMetadata::CParent::EFormat format) {
    using NVHDX::NMetadata::CParent;
    switch (format) {
        case CParent::formatParentLinkage:
            return "parent_linkage";
        case CParent::formatParentLinkage2:
            return "parent_linkage2";
        case CParent::formatRelativePath:
            return "relative_path";
        case CParent::formatVolumePath:
            return "volume_path";
        case CParent::formatAbsoluteWin32Path:
            return "absolute_win32_path";
    }
    return "unknown";
}

}  // namespace NTool
