#ifndef VHDX_DISK_CHAIN_LOCATOR_PATH_H
#define VHDX_DISK_CHAIN_LOCATOR_PATH_H

#include <array>
#include <filesystem>
#include <optional>
#include <string>

#include <vhdx_parser/metadata.h>

namespace NVHDXDisk {

/// The keys of a locator's absolute paths, in the order in which they are looked at.
inline constexpr std::array<NVHDX::NMetadata::CParent::EFormat, 2> AbsoluteFormats = {
    NVHDX::NMetadata::CParent::formatVolumePath,
    NVHDX::NMetadata::CParent::formatAbsoluteWin32Path};

/// The native path of a locator's text: UTF-16 code units, folders divided by '\'. None when the
/// text is empty, is not valid UTF-16 or holds a character that no file name can have.
[[nodiscard]] std::optional<std::filesystem::path> PathFromLocator(const std::wstring& text);

/// The same of the value that the locator has for a key, where it has one.
[[nodiscard]] std::optional<std::filesystem::path> RecordedPath(
    const NVHDX::NMetadata::CParent& locator, NVHDX::NMetadata::CParent::EFormat format);

}  // namespace NVHDXDisk

#endif
