#ifndef VHDX_TOOLS_VHDX_CHOSEN_DISK_H
#define VHDX_TOOLS_VHDX_CHOSEN_DISK_H

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <vhdx_disk/disk.h>

#include "tools/vhdx/opened_file.h"

namespace NTool {

class CCommandSyntax;

using CDiskPointer = std::shared_ptr<const NVHDXDisk::CDisk>;

/// What a command on a chain is told.
struct CChainOptions {
    std::string disk;         ///< the file, where a folder is given
    bool otherPaths = false;  ///< look for parents at the absolute paths that the files keep too
    bool acceptChangedParent = false;  ///< read parents that may be the wrong ones
};

/// --disk NAME, for commands whose FILE may be a folder, --other-paths and --accept-changed-parent.
void AddChainArguments(CCommandSyntax& command, CChainOptions& chain);

/// The file that is meant: `source` itself, or the one of this name in the folder `source`.
std::filesystem::path ChosenFile(const std::string& source, const std::string& disk);

/// The same for a command on one file: options whose file is the one that --disk chooses, where it
/// is given.
CFileOptions ChosenDisk(CFileOptions options, const CChainOptions& chain);

/// Opens a disk with all its parents. Says on standard error which logs were replayed and what does
/// not fit together; what cannot be opened ends in `CCommandFailure`.
CDiskPointer OpenDisk(const CFileOptions& options, const CChainOptions& chain);

/// The same of the file alone: what it leaves to its parents are holes.
CDiskPointer OpenAlone(const CFileOptions& options, const CChainOptions& chain);

/// The same for a command on one file, whose saved model may take the place of its table.
CDiskPointer OpenFileOnly(const CFileOptions& options, const CChainOptions& chain);

/// When all is read, before it counts: refuses it when a file of the disk changed meanwhile, or
/// says so for a disk that was opened as live.
void CheckUnchanged(const NVHDXDisk::CDisk& disk, const CFileOptions& options);

/// The paths of the disk's files.
std::vector<std::filesystem::path> PathsOf(const NVHDXDisk::CDisk& disk);

/// Refuses an output that is one of the disk's files.
void CheckNotRead(const std::string& output, const NVHDXDisk::CDisk& disk);

}  // namespace NTool

#endif
