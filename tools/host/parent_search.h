#ifndef VHDX_HOST_PARENT_SEARCH_H
#define VHDX_HOST_PARENT_SEARCH_H

#include <filesystem>
#include <optional>

#include <vhdx_parser/metadata.h>

namespace NVHDXHost {

/// The parent of a disk, as its locator describes it.
struct CParentFile {
    std::filesystem::path path;
    bool linked = false;  ///< its DataWriteGuid is the one that the child keeps
};

/// Looks for the parent in the places of `ParentCandidates`: the first file whose DataWriteGuid
/// the child keeps, or else the first file that is there. None when there is none.
[[nodiscard]] std::optional<CParentFile> FindParent(const NVHDX::NMetadata::CParent& locator,
                                                    const std::filesystem::path& childFolder,
                                                    bool otherPaths);

}  // namespace NVHDXHost

#endif
