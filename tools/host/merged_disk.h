#ifndef VHDX_HOST_MERGED_DISK_H
#define VHDX_HOST_MERGED_DISK_H

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "host/disk_layer.h"
#include "host/parent_search.h"

namespace NVHDXHost {

struct CMergeOptions {
    CReplayStream::EMode logMode = CReplayStream::replayLog;
    /// true: also a parent that was changed since the child was made, or of which nobody can tell,
    /// is read, and `Findings` says so. The bytes may be such as no guest ever saw.
    bool acceptChangedParent = false;
    bool withParents = true;  ///< false: what the file itself does not hold are holes
    bool otherPaths = false;  ///< true: look for a parent at its locator's absolute paths too

    /// How the caller's user asks for these, for reasons that say what to do.
    const char* acceptOption = "--accept-changed-parent";
    const char* otherPathsOption = "--other-paths";
};

/// The virtual disk of a chain: a file and all its parents. Immutable, so that any number of
/// readers on any threads may share it; each `CMergedReader` opens the files for itself.
class CMergedDisk {
public:
    /// Opens the file and follows the parents to the disk without one. Null, with the reason in
    /// `error`, when a file cannot be read, a parent is missing or may be the wrong one, or the
    /// chain leads back into itself. No limit on the number of files; none stays open.
    [[nodiscard]] static std::shared_ptr<const CMergedDisk> Open(const std::filesystem::path& path,
                                                                 const CMergeOptions& options,
                                                                 std::string& error);

    /// The disk of one file that was loaded before; what it does not hold are holes.
    [[nodiscard]] static std::shared_ptr<const CMergedDisk> OfFile(CDiskLayer layer);

    /// Bytes of the virtual disk: the newest file decides.
    [[nodiscard]] std::uint64_t Size() const { return Newest().parameters.virtdisksz; }
    [[nodiscard]] std::uint32_t SectorSize() const { return Newest().parameters.logsectsz; }

    /// The files, newest first; the last one has no parent.
    [[nodiscard]] const std::vector<CDiskLayer>& Layers() const { return m_layers; }
    [[nodiscard]] const CDiskLayer& Newest() const { return m_layers.front(); }

    /// What does not fit together though it can be read, one sentence each.
    [[nodiscard]] const std::vector<std::string>& Findings() const { return m_findings; }

    /// How many log entries were replayed in memory, in all files.
    [[nodiscard]] std::uint64_t ReplayedEntries() const;

private:
    CMergedDisk() = default;
    bool Follow(std::filesystem::path path, const CMergeOptions& options, std::string& error);
    bool AcceptsParent(const CParentFile& parent, const CMergeOptions& options, std::string& error);
    void CompareSectors();

    std::vector<CDiskLayer> m_layers;
    std::vector<std::string> m_findings;
};

}  // namespace NVHDXHost

#endif
