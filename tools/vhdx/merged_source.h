#ifndef VHDX_TOOLS_VHDX_MERGED_SOURCE_H
#define VHDX_TOOLS_VHDX_MERGED_SOURCE_H

#include <filesystem>
#include <memory>
#include <string>

#include "host/merged_disk.h"
#include "tools/vhdx/disk.h"

namespace NTool {

class CCommandSyntax;

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
CDiskOptions ChosenDisk(CDiskOptions options, const CChainOptions& chain);

/// Opens a disk with all its parents. Says on standard error which logs were replayed and what does
/// not fit together; what cannot be opened ends in `CFailure`.
std::shared_ptr<const NVHDXHost::CMergedDisk> OpenMerged(const CDiskOptions& options,
                                                         const CChainOptions& chain);

/// The same of the file alone: what it leaves to its parents are holes.
std::shared_ptr<const NVHDXHost::CMergedDisk> OpenAlone(const CDiskOptions& options,
                                                        const CChainOptions& chain);

/// What a reader of this disk says of its failure; the subject is the file that it names.
CFailure ReadFailure(const NVHDXHost::CMergedDisk& disk, const std::string& error);

}  // namespace NTool

#endif
