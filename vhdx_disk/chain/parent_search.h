#ifndef VHDX_DISK_CHAIN_PARENT_SEARCH_H
#define VHDX_DISK_CHAIN_PARENT_SEARCH_H

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <vhdx_disk/source.h>
#include <vhdx_parser/metadata.h>

#include "vhdx_disk/log/header_copies.h"

namespace NVHDXDisk {

/// The folder of a path as it is written, so that folders can be compared without looking at any.
[[nodiscard]] std::filesystem::path FolderOf(const std::filesystem::path& path);

/// Where the parents of a chain are looked for.
struct CParentSearch {
    /// As `FolderOf` gives them: the folders that the user asked about. A disk file may record any
    /// path, and must not learn through us what lies there: outside of these folders a file counts
    /// only when it is the linked parent, and of anything else nothing is told.
    std::set<std::filesystem::path> namedFolders;
    bool recordedPaths = false;                  ///< also at the locator's absolute paths
    std::vector<std::filesystem::path> folders;  ///< also in these, by the file's name
    const ISourceOpener* opener = &FileOpener();

    [[nodiscard]] bool IsNamed(const std::filesystem::path& path) const {
        return namedFolders.count(FolderOf(path)) != 0;
    }
};

/// How a file that was found is tied to its child.
enum class ETie {
    linked,   ///< its DataWriteGuid is one that the child keeps
    changed,  ///< it is not: the file was changed, or is another one
    unlinked  ///< the child keeps none, so nobody can tell
};

/// The parent of a disk, as its locator describes it.
struct CParentFile {
    CHeadedFile file;
    ETie tie = ETie::linked;
};

/// How the file is tied to the child that keeps the locator.
[[nodiscard]] ETie TieOf(const NVHDX::NMetadata::CParent& locator, const CHeadedFile& parent);

/// Where the parent of the disk file `child` may lie, the likeliest place first: the relative path
/// from the child's folder, then its file name in that folder, where that is not the child itself,
/// and in the folders of the search; at last the locator's volume path and absolute path as they
/// stand, where they are wanted. Nothing is looked up.
[[nodiscard]] std::vector<std::filesystem::path> ParentCandidates(
    const NVHDX::NMetadata::CParent& locator, const std::filesystem::path& child,
    const CParentSearch& search);

/// Looks for the parent in the places of `ParentCandidates`: the first file whose DataWriteGuid the
/// child keeps, or else the first one that is there at all in a folder that the user named. None
/// when there is none. Opens nothing that could keep it waiting.
///
/// False, with the reason in `failure`, when the linked one was not found and the system refused to
/// open or to read one of the places: that one may be it.
[[nodiscard]] bool FindParent(const NVHDX::NMetadata::CParent& locator,
                              const std::filesystem::path& child, const CParentSearch& search,
                              std::optional<CParentFile>& parent, CFailure& failure);
/// What people are told where `FindParent` found none. Names the paths that the locator records, as
/// it spells them, and is the same whatever lies there. `recordedPathsAdvice` is how the user asks
/// for the absolute ones, where they were not looked at; empty where he cannot.
[[nodiscard]] std::string MissingParentText(const NVHDX::NMetadata::CParent& locator,
                                            const std::filesystem::path& child,
                                            const CParentSearch& search,
                                            const std::string& recordedPathsAdvice);

/// That the child keeps no linkage to compare a parent with.
[[nodiscard]] std::string UnlinkedParentText();

/// Why a parent that was found may be the wrong one; its tie is not `linked`.
[[nodiscard]] std::string DoubtfulParentText(const std::filesystem::path& parent, ETie tie);

}  // namespace NVHDXDisk

#endif
