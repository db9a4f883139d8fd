#ifndef VHDX_DISK_DISK_H
#define VHDX_DISK_DISK_H

/// A virtual disk as its guest sees it: a file with all its parents, their logs replayed in memory.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <vhdx_parser/block_model.h>
#include <vhdx_parser/guid.h>
#include <vhdx_parser/metadata.h>

#include <vhdx_disk/block_table.h>
#include <vhdx_disk/export.h>
#include <vhdx_disk/failure.h>
#include <vhdx_disk/finding.h>
#include <vhdx_disk/replayed_stream.h>
#include <vhdx_disk/source.h>

namespace NVHDXDisk {

/// The block model of a file, in place of the table in the file.
struct CLoadedTable {
    std::shared_ptr<const NVHDX::CBlocks> blocks;
    NVHDX::CFileParameters parameters;
};

struct CDiskOptions {
    ELog log = ELog::replay;

    /// false: the file alone; what it does not hold itself are holes.
    bool withParents = true;

    /// The files that are to be taken for the parents, nearest first, wherever the locators lead.
    /// Where they are too few the next one is looked for.
    std::vector<std::filesystem::path> parents;

    /// Folders in which a parent is looked for by its file name, after the child's own.
    std::vector<std::filesystem::path> folders;

    /// Also look at the absolute paths that files record. A file may record any path: outside of
    /// the folders that the caller named only the linked parent counts, and nothing is told of
    /// anything else.
    bool recordedPaths = false;

    /// Also take a parent that was changed since the child was made, or of which nobody can tell;
    /// the disk's findings then say so. The bytes may be such as no guest ever saw.
    bool acceptChangedParent = false;

    /// Also read files that somebody writes meanwhile. A copy is then no state that the disk ever
    /// had; `CDisk::CheckUnchanged` tells whether that came to pass.
    bool live = false;

    /// Finds the parents; null: they are files.
    std::shared_ptr<const ISourceOpener> opener;

    /// Of the newest file, whose geometry it must have; without blocks: the file's own table.
    CLoadedTable table;

    /// How the host's user asks for `recordedPaths`, for the message of a missing parent; empty: it
    /// is not advised.
    std::string recordedPathsAdvice;
};

/// One file of a chain.
struct CDiskFile {
    enum ERole : std::int32_t {
        base,       ///< has no parent
        checkpoint  ///< holds what changed since its parent
    };

    std::filesystem::path path;
    CSourcePointer source;  ///< the file on storage
    ERole role = base;
    std::uint64_t size = 0;  ///< bytes on storage, without what a replay adds
    CLogState log;
    std::uint64_t virtualSize = 0;  ///< bytes
    std::uint32_t blockSize = 0;    ///< bytes
    std::uint32_t logicalSectorSize = 0;
    std::uint32_t physicalSectorSize = 0;  ///< 0 when the file does not tell
    _GUID identifier = {};                 ///< Page83Data; null when the file has none
    std::optional<CCurrentHeader> header;  ///< none when no header is valid
    NVHDX::NMetadata::CParent locator;     ///< present exactly when the file has a parent

    [[nodiscard]] bool HasParent() const { return role == checkpoint; }
};

/// Immutable: any number of threads, and a `CReader` for each of them.
class CDisk {
public:
    /// Opens the file and follows the parents to the one that has none. Null, with the reason in
    /// `failure`, when a file cannot be read, a parent is missing or may be the wrong one, or the
    /// chain leads back into itself. Reads the headers of each file once; no limit on their number.
    [[nodiscard]] static VHDX_DISK_API std::shared_ptr<const CDisk> Open(
        const std::filesystem::path& path, const CDiskOptions& options, CFailure& failure);

    /// The same of sources that the host brings, newest first. Where they are too few the parents
    /// are looked for.
    [[nodiscard]] static VHDX_DISK_API std::shared_ptr<const CDisk> Open(
        std::vector<CSourcePointer> newestFirst, const CDiskOptions& options, CFailure& failure);

    VHDX_DISK_API ~CDisk();

    /// Bytes of the virtual disk. This and the next three are those of the newest file.
    [[nodiscard]] VHDX_DISK_API std::uint64_t Size() const;
    [[nodiscard]] VHDX_DISK_API std::uint32_t LogicalSectorSize() const;
    [[nodiscard]] VHDX_DISK_API std::uint32_t PhysicalSectorSize() const;
    [[nodiscard]] VHDX_DISK_API _GUID Identifier() const;

    /// Newest first; at least one. Without parents, or of a whole chain, the last one is the base.
    [[nodiscard]] VHDX_DISK_API const std::vector<CDiskFile>& Files() const;

    /// The table of one of the files, by its place in `Files`, with its runs. Null, with the reason
    /// in `failure`, when it cannot be read any more.
    [[nodiscard]] VHDX_DISK_API std::shared_ptr<const CBlockTable> Table(std::size_t file,
                                                                         CFailure& failure) const;

    /// What does not fit together though it can be read.
    [[nodiscard]] VHDX_DISK_API const std::vector<CFinding>& Findings() const;

    /// Whether all files are still as they were when the disk was opened: their sizes, when they
    /// were written last, and their current headers (SequenceNumber, FileWriteGuid, DataWriteGuid
    /// and the place of the log). False, with the reason in `failure` (`changedMeanwhile` where
    /// they are not): what was read since the opening may be of two states. A copy asks this
    /// itself.
    [[nodiscard]] VHDX_DISK_API bool CheckUnchanged(CFailure& failure) const;

    /// How many log entries were replayed in memory, in all files.
    [[nodiscard]] VHDX_DISK_API std::uint64_t ReplayedEntries() const;

private:
    friend class CReader;
    friend class CDiskParts;
    CDisk();

    std::unique_ptr<class CDiskParts> m_parts;
};

}  // namespace NVHDXDisk

#endif
