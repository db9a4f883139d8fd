#ifndef VHDX_DISK_FOLDER_H
#define VHDX_DISK_FOLDER_H

/// The checkpoints of a folder: the disks as a tree, each child under its parent.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <vhdx_disk/export.h>
#include <vhdx_disk/failure.h>
#include <vhdx_disk/replayed_stream.h>
#include <vhdx_disk/tree.h>

namespace NVHDXDisk {

/// What the first library's chain builder, `NVHDX::NSnapshotCircuit::NBuilder::DoIt`, would make of
/// a folder. It goes by names alone, gives each disk one child, fails as a whole for one bad file,
/// and does not return where a disk can never be attached: ask here before calling it.
struct CLinkingForecast {
    enum EOutcome : std::int32_t {
        links,     ///< every file ends in a chain
        refuses,   ///< the builder returns false
        neverEnds  ///< the builder does not return: it must not be called
    };

    /// One chain as the linking pass would make it.
    struct CChain {
        std::vector<std::size_t> files;  ///< from the base to the tip
        /// The pass attaches every file that descends from the base, and they can be open at once.
        bool linkable = false;
    };

    EOutcome outcome = links;
    std::vector<std::string> reasons;  ///< for any other outcome, one sentence each; safe to print
    std::vector<CChain> chains;        ///< one for each disk without parent
    /// How many files the builder may have open at once: every disk and the folder itself. Where
    /// the process could not open as many when the folder was scanned, the builder refuses.
    std::size_t openFiles = 0;
};

struct CFolderOptions {
    ELog log = ELog::replay;
    /// Also the disks of all folders below; links to folders are not followed. Extensions then
    /// count in any case, and nothing is said of the first library, which knows one folder.
    bool recursive = false;
};

/// The tree of a folder's disks. Reads headers, metadata and logs, but no block allocation table,
/// so that a folder of large disks takes no longer than one of small ones. Immutable.
class CFolder {
public:
    /// Scans the folder for files with exactly the extensions "vhdx" and "avhdx", as the first
    /// library does. Null, with the reason in `failure`, when the folder cannot be read; files that
    /// cannot are findings.
    [[nodiscard]] static VHDX_DISK_API std::shared_ptr<const CFolder> Open(
        const std::filesystem::path& folder, const CFolderOptions& options, CFailure& failure);

    VHDX_DISK_API ~CFolder();

    /// By name.
    [[nodiscard]] VHDX_DISK_API const std::vector<CTreeFile>& Files() const;
    /// The files without a parent in the tree, by name. Files of a circle are below none of them.
    [[nodiscard]] VHDX_DISK_API const std::vector<std::size_t>& Roots() const;
    [[nodiscard]] VHDX_DISK_API const std::vector<CTreeFinding>& Findings() const;
    [[nodiscard]] VHDX_DISK_API const CLinkingForecast& Linking() const;

    /// The chains, each from its base to its tip: a disk without parent and what descends from it,
    /// where no disk has two children and each can be read.
    [[nodiscard]] VHDX_DISK_API std::vector<std::vector<std::size_t>> StraightChains() const;

    /// The disks that no other disk of the folder has for its parent and that can be read.
    [[nodiscard]] VHDX_DISK_API std::vector<std::size_t> Tips() const;

private:
    CFolder();

    struct CParts;
    std::unique_ptr<CParts> m_parts;
};

}  // namespace NVHDXDisk

#endif
