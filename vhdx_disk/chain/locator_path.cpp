#include "vhdx_disk/chain/locator_path.h"

#include <algorithm>
#include <exception>

#include "vhdx_parser/foundation/utf16.h"

namespace NVHDXDisk {

namespace fs = std::filesystem;

std::optional<fs::path> PathFromLocator(const std::wstring& text) {
    std::u16string units = NUtf16::CodeUnits(text);
    while (!units.empty() && units.back() == 0) {
        units.pop_back();
    }
    if (units.empty() || units.find(char16_t{0}) != std::u16string::npos) {
        return std::nullopt;
    }
    std::replace(units.begin(), units.end(), u'\\', u'/');
    try {
        return fs::path(units);
    } catch (const std::exception&) {  // the conversion of a text that is not valid UTF-16
        return std::nullopt;
    }
}

std::optional<fs::path> RecordedPath(const NVHDX::NMetadata::CParent& locator,
                                     NVHDX::NMetadata::CParent::EFormat format) {
    const auto entry = locator.entries.find(format);
    return entry == locator.entries.end() ? std::nullopt : PathFromLocator(entry->second.value);
}

}  // namespace NVHDXDisk
