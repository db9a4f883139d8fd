#ifndef VHDX_HOST_FOLDER_TREE_H
#define VHDX_HOST_FOLDER_TREE_H

/// The checkpoints of a folder, or of a folder and all below it: the disks as a tree, each child
/// under its parent.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <vhdx_parser/guid.h>
#include <vhdx_parser/metadata.h>

#include "host/chain_linking.h"
#include "host/disk_folders.h"
#include "host/parent_search.h"
#include "host/replay_stream.h"

namespace NVHDXHost {

/// One disk file of the tree; indices are places in `CFolderTree::Files`.
struct CFolderFile {
    std::string
        name;  ///< in the folder; of a file in a folder below it the path from there, with '/'
    std::filesystem::path path;
    std::string problem;  ///< why it cannot be read; empty when it can
    CReplayResult replay;
    std::uint64_t virtualSize = 0;        ///< bytes
    _GUID diskId = {};                    ///< page 83 data; null when the file has none
    std::optional<_GUID> dataWriteGuid;   ///< none when no header is valid
    NVHDX::NMetadata::CParent locator;    ///< present exactly when the disk names a parent
    std::optional<std::size_t> parent;    ///< in this tree
    std::filesystem::path parentOutside;  ///< the parent's path when it is not in this tree
    bool parentLinked = false;            ///< the parent is the one that the child was made from
    std::vector<std::size_t> children;    ///< by name

    [[nodiscard]] bool HasParent() const { return locator.present; }
};

struct CFolderFinding {
    enum EKind {
        unreadable,
        parentMissing,
        parentOutside,
        parentChanged,
        linkageMissing,  ///< the child keeps nothing to tell its parent by
        severalChildren,
        cycle
    };
    EKind kind;
    std::vector<std::size_t> files;  ///< whom it concerns, the parent first where there is one
    std::string text;                ///< one sentence that names the files
};

/// The tree of a folder's disks. Reads headers, metadata and logs, but no block allocation table,
/// so that a folder of large disks takes no longer than one of small ones.
class CFolderTree {
public:
    /// Scans the folder for files with exactly the extensions "vhdx" and "avhdx", as the library
    /// does. None when the folder cannot be read.
    [[nodiscard]] static std::optional<CFolderTree> Scan(
        const std::filesystem::path& folder, CReplayStream::EMode mode = CReplayStream::replayLog);

    /// The tree of all disks of several folders: a parent may lie in another one than its child.
    /// Says nothing of what the library's chain builder would do, which knows one folder.
    [[nodiscard]] static CFolderTree Of(const CDiskFolders& folders, CReplayStream::EMode mode);

    /// By name.
    [[nodiscard]] const std::vector<CFolderFile>& Files() const { return m_files; }
    /// The files without a parent in the tree, by name. Files of a cycle are below none of them.
    [[nodiscard]] const std::vector<std::size_t>& Roots() const { return m_roots; }
    [[nodiscard]] const std::vector<CFolderFinding>& Findings() const { return m_findings; }
    /// What the library's chain builder would make of the folder.
    [[nodiscard]] const CLinking& Linking() const { return m_linking; }

private:
    using CPlaces = std::map<std::filesystem::path, std::size_t>;

    bool FindFiles(const std::filesystem::path& folder, CReplayStream::EMode mode);
    void FindTies(const CParentSearch& search);
    void FindParents(const CParentSearch& search);
    void FindParentOf(std::size_t file, const CParentSearch& search, const CPlaces& places);
    void FindForks();
    void FindCycles();
    void AddFinding(CFolderFinding::EKind kind, std::vector<std::size_t> files, std::string text);

    std::vector<CFolderFile> m_files;
    std::vector<std::size_t> m_roots;
    std::vector<CFolderFinding> m_findings;
    CLinking m_linking;
};

}  // namespace NVHDXHost

#endif
