#include "tools/vhdx/text.h"

#include <array>
#include <sstream>

#include <fmt/format.h>

namespace NTool {

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
