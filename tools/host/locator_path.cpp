#include "host/locator_path.h"

#include <algorithm>
#include <exception>

namespace NVHDXHost {

namespace {

using NVHDX::NMetadata::CParent;
namespace fs = std::filesystem;

bool IsHighSurrogate(wchar_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool IsLowSurrogate(wchar_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

/// The code point at `index`, which moves behind it; '?' for half of a pair.
char32_t TakeCodePoint(const std::wstring& text, std::size_t& index) {
    const wchar_t unit = text[index++];
    if (IsHighSurrogate(unit) && index < text.size() && IsLowSurrogate(text[index])) {
        const auto high = static_cast<char32_t>(unit - 0xD800);
        return 0x10000 + (high << 10) + static_cast<char32_t>(text[index++] - 0xDC00);
    }
    return IsHighSurrogate(unit) || IsLowSurrogate(unit) ? U'?' : static_cast<char32_t>(unit);
}

void AppendUtf8(std::string& text, char32_t point) {
    const auto tail = [&text](char32_t bits) { text += static_cast<char>(0x80 | (bits & 0x3F)); };
    if (point < 0x80) {
        text += static_cast<char>(point);
    } else if (point < 0x800) {
        text += static_cast<char>(0xC0 | point >> 6);
        tail(point);
    } else if (point < 0x10000) {
        text += static_cast<char>(0xE0 | point >> 12);
        tail(point >> 6);
        tail(point);
    } else {
        text += static_cast<char>(0xF0 | point >> 18);
        tail(point >> 12);
        tail(point >> 6);
        tail(point);
    }
}

std::u16string CodeUnits(const std::wstring& text) {
    std::u16string units;
    for (const wchar_t unit : text) {
        units += unit == L'\\' ? u'/' : static_cast<char16_t>(unit);
    }
    while (!units.empty() && units.back() == 0) {
        units.pop_back();
    }
    return units;
}

std::optional<fs::path> PathOf(const CParent& locator, CParent::EFormat format) {
    const auto entry = locator.entries.find(format);
    return entry == locator.entries.end() ? std::nullopt : PathFromLocator(entry->second.value);
}

void Add(std::vector<fs::path>& candidates, fs::path candidate) {
    candidate = candidate.lexically_normal();
    if (std::find(candidates.begin(), candidates.end(), candidate) == candidates.end()) {
        candidates.push_back(std::move(candidate));
    }
}

}  // namespace

std::optional<fs::path> PathFromLocator(const std::wstring& text) {
    const std::u16string units = CodeUnits(text);
    if (units.empty() || units.find(char16_t{0}) != std::u16string::npos) {
        return std::nullopt;
    }
    try {
        return fs::path(units);
    } catch (const std::exception&) {  // the conversion of a text that is not valid UTF-16
        return std::nullopt;
    }
}

std::string TextFromLocator(const std::wstring& text) {
    std::string utf8;
    for (std::size_t index = 0; index < text.size();) {
        AppendUtf8(utf8, TakeCodePoint(text, index));
    }
    return utf8;
}

std::string TextFromPath(const fs::path& path) {
#if defined(_WIN32)
    return TextFromLocator(path.native());
#else
    return path.native();
#endif
}

std::string QuotedText(const std::string& text) {
    return std::string(1, '"').append(text).append(1, '"');
}

std::string Quoted(const fs::path& path) {
    return QuotedText(TextFromPath(path));
}

std::vector<fs::path> ParentCandidates(const CParent& locator, const fs::path& child,
                                       bool otherPaths) {
    std::vector<fs::path> candidates;
    const fs::path folder = child.parent_path();
    if (const auto relative = PathOf(locator, CParent::formatRelativePath)) {
        Add(candidates, folder / relative->relative_path());
        if (relative->filename() != child.filename()) {
            Add(candidates, folder / relative->filename());
        }
    }
    if (otherPaths) {
        for (const auto format : AbsoluteFormats) {
            if (const auto path = PathOf(locator, format)) {
                Add(candidates, *path);
            }
        }
    }
    return candidates;
}

}  // namespace NVHDXHost
