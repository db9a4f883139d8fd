#ifndef VHDX_TOOLS_VHDX_SCANNED_FOLDER_H
#define VHDX_TOOLS_VHDX_SCANNED_FOLDER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <vhdx_parser/vhdx_parser.h>

#include <vhdx_disk/folder.h>
#include "tools/vhdx/command.h"
#include "tools/vhdx/command_syntax.h"
#include "tools/vhdx/trace_writer.h"

namespace NTool {

/// What every command on a folder of disks is told.
struct CScanOptions {
    std::string folder;
    std::optional<std::uint32_t> traceLevel;
    NVHDXDisk::ELog log = NVHDXDisk::ELog::replay;
};

/// FOLDER, --trace and --no-replay.
void AddFolderArguments(CCommandSyntax& command, CScanOptions& folder);

/// When the arguments name this command, `run` will be called with its options, which hold a
/// `CScanOptions` named `folder`.
template <class TOptions>
void ChooseFolder(CCommandSyntax& command, CChosenCommand& chosen,
                  std::shared_ptr<TOptions> options, void (*run)(const TOptions&)) {
    command.WhenChosen([&chosen, options, run] {
        chosen.subject = options->folder.folder;
        chosen.run = [options, run] { run(*options); };
    });
}

/// One sentence for people, with the option that helps where there is one.
std::string TextOf(const NVHDXDisk::CFolder& folder, const NVHDXDisk::CTreeFinding& finding);

/// The disks of the folder. Throws `CCommandFailure` when it is no folder that can be read.
std::shared_ptr<const NVHDXDisk::CFolder> ScanFolder(const CScanOptions& options);

}  // namespace NTool

#endif
