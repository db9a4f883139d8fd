#include "host/parent_linkage.h"

#include <array>
#include <sstream>

#include "host/little_endian.h"

namespace NVHDXHost {

namespace {

using NVHDX::NMetadata::CParent;

constexpr std::size_t GuidTextLength = 38;

/// Which byte of the 16 on disk each pair of digits spells: the first three groups are numbers.
constexpr std::array<std::size_t, 16> ByteOrder = {3, 2, 1,  0,  5,  4,  7,  6,
                                                   8, 9, 10, 11, 12, 13, 14, 15};

std::optional<unsigned> Digit(wchar_t character) {
    if (character >= L'0' && character <= L'9') {
        return static_cast<unsigned>(character - L'0');
    }
    if (character >= L'a' && character <= L'f') {
        return static_cast<unsigned>(character - L'a') + 10;
    }
    if (character >= L'A' && character <= L'F') {
        return static_cast<unsigned>(character - L'A') + 10;
    }
    return std::nullopt;
}

bool IsHyphenPlace(std::size_t index) {
    return index == 9 || index == 14 || index == 19 || index == 24;
}

}  // namespace

std::optional<_GUID> ParseGuid(const std::wstring& text) {
    if (text.size() != GuidTextLength || text.front() != L'{' || text.back() != L'}') {
        return std::nullopt;
    }
    std::array<unsigned char, 16> bytes = {};
    std::size_t digits = 0;
    for (std::size_t index = 1; index + 1 < GuidTextLength; ++index) {
        if (IsHyphenPlace(index)) {
            if (text[index] != L'-') {
                return std::nullopt;
            }
            continue;
        }
        const auto digit = Digit(text[index]);
        if (!digit) {
            return std::nullopt;
        }
        unsigned char& byte = bytes[ByteOrder[digits / 2]];
        byte = static_cast<unsigned char>(unsigned{byte} << 4 | *digit);
        ++digits;
    }
    return LoadGuid(bytes.data());
}

std::string TextOf(const _GUID& guid) {
    std::ostringstream text;
    text << guid;
    return text.str();
}

std::vector<_GUID> LinkagesOf(const CParent& locator) {
    std::vector<_GUID> linkages;
    for (const auto format : {CParent::formatParentLinkage, CParent::formatParentLinkage2}) {
        const auto entry = locator.entries.find(format);
        if (entry == locator.entries.end()) {
            continue;
        }
        const auto linkage = ParseGuid(entry->second.value);
        if (linkage && !IsNull(*linkage)) {
            linkages.push_back(*linkage);
        }
    }
    return linkages;
}

}  // namespace NVHDXHost
