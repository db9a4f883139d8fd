#ifndef VHDX_HOST_LOCATOR_PATH_H
#define VHDX_HOST_LOCATOR_PATH_H

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

/// Where the parent of a disk may lie, the likeliest place first: the relative path from the
/// child's folder, then its file name in that folder. With `otherPaths` also the locator's volume
/// path and absolute path as they stand. Nothing is looked up.
[[nodiscard]] std::vector<std::filesystem::path> ParentCandidates(
    const NVHDX::NMetadata::CParent& locator, const std::filesystem::path& childFolder,
    bool otherPaths);

}  // namespace NVHDXHost

#endif
