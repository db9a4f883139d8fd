#ifndef VHDX_HOST_LOCATOR_PATH_H
#define VHDX_HOST_LOCATOR_PATH_H

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <vhdx_parser/metadata.h>

namespace NVHDXHost {

/// The native path of a locator's text: UTF-16 code units, folders divided by '\'. None when the
/// text is empty, is not valid UTF-16 or holds a character that no file name can have.
[[nodiscard]] std::optional<std::filesystem::path> PathFromLocator(const std::wstring& text);

/// A locator's text for people, in UTF-8; what is not valid UTF-16 becomes '?'.
[[nodiscard]] std::string TextFromLocator(const std::wstring& text);

/// A text in double quotes.
[[nodiscard]] std::string QuotedText(const std::string& text);

/// A path for people, in UTF-8, and the same in double quotes.
[[nodiscard]] std::string TextFromPath(const std::filesystem::path& path);
[[nodiscard]] std::string Quoted(const std::filesystem::path& path);

/// The keys of a locator's absolute paths, in the order in which they are looked at.
inline constexpr std::array<NVHDX::NMetadata::CParent::EFormat, 2> AbsoluteFormats = {
    NVHDX::NMetadata::CParent::formatVolumePath,
    NVHDX::NMetadata::CParent::formatAbsoluteWin32Path};

/// Where the parent of the disk file `child` may lie, the likeliest place first: the relative path
/// from the child's folder, then its file name in that folder, where that is not the child itself.
/// With `otherPaths` also the locator's volume path and absolute path as they stand. Nothing is
/// looked up.
[[nodiscard]] std::vector<std::filesystem::path> ParentCandidates(
    const NVHDX::NMetadata::CParent& locator, const std::filesystem::path& child, bool otherPaths);

}  // namespace NVHDXHost

#endif
