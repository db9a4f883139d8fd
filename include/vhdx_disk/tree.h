#ifndef VHDX_DISK_TREE_H
#define VHDX_DISK_TREE_H

/// Disks as a tree, each child under its parent, and what is to be said of it.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <vhdx_parser/guid.h>
#include <vhdx_parser/metadata.h>

#include <vhdx_disk/failure.h>
#include <vhdx_disk/replayed_stream.h>

namespace NVHDXDisk {

/// One disk file of the tree; indices are places in `CFolder::Files`.
struct CTreeFile {
    /// In the folder; of a file in a folder below it the path from there, with '/'. As it is: to
    /// print it see `Printable`.
    std::string name;
    std::filesystem::path path;
    std::optional<CFailure> problem;  ///< why it cannot be read
    CLogState log;
    std::uint64_t virtualSize = 0;         ///< bytes
    _GUID identifier = {};                 ///< Page83Data; null when the file has none
    std::optional<CCurrentHeader> header;  ///< none when no header is valid
    NVHDX::NMetadata::CParent locator;     ///< present exactly when the disk names a parent
    std::optional<std::size_t> parent;     ///< in this tree
    std::filesystem::path parentOutside;   ///< the parent's path when it is not in this tree
    bool parentLinked = false;             ///< the parent is the one that the child was made from
    std::vector<std::size_t> children;     ///< by name

    [[nodiscard]] bool HasParent() const { return locator.present; }
};

/// What is to be said of the disks of a folder.
struct CTreeFinding {
    enum EKind : std::int32_t {
        unreadable,
        parentMissing,
        parentOutside,
        parentChanged,
        linkageMissing,  ///< the child keeps nothing to tell its parent by
        severalChildren,
        circle,
        parentUnreadable  ///< something lies where the parent may be, and the system refuses it
    };

    EKind kind = unreadable;
    std::vector<std::size_t> files;  ///< whom it concerns, the parent first where there is one
    std::string text;                ///< one sentence that names the files; safe to print
};

}  // namespace NVHDXDisk

#endif
