#ifndef VHDX_HOST_PARENT_SEARCH_H
#define VHDX_HOST_PARENT_SEARCH_H

#include <filesystem>
#include <optional>
#include <set>

#include <vhdx_parser/metadata.h>

namespace NVHDXHost {

/// The folder of a path as it is written, so that folders can be compared without looking at any.
[[nodiscard]] std::filesystem::path FolderOf(const std::filesystem::path& path);

/// Where the parents of a chain are looked for.
struct CParentSearch {
    /// As `FolderOf` gives them: the folders that the user asked about. A disk file may record any
    /// path, and must not learn through us what lies there: outside of these folders a file counts
    /// only when it is the linked parent, and of anything else nothing is told.
    std::set<std::filesystem::path> namedFolders;
    bool otherPaths = false;  ///< also at the locator's absolute paths

    [[nodiscard]] bool IsNamed(const std::filesystem::path& path) const {
        return namedFolders.contains(FolderOf(path));
    }
};

/// The parent of a disk, as its locator describes it.
struct CParentFile {
    enum ETie {
        linked,   ///< its DataWriteGuid is one that the child keeps
        changed,  ///< it is not: the file was changed, or is another one
        unlinked  ///< the child keeps none, so nobody can tell
    };

    std::filesystem::path path;
    ETie tie = linked;
};

/// Looks for the parent in the places of `ParentCandidates`: the first file whose DataWriteGuid the
/// child keeps, or else the first one that is there at all in a folder that the user named. None
/// when there is none. Opens nothing that could keep it waiting.
[[nodiscard]] std::optional<CParentFile> FindParent(const NVHDX::NMetadata::CParent& locator,
                                                    const std::filesystem::path& child,
                                                    const CParentSearch& search);

}  // namespace NVHDXHost

#endif
