#include <cstdio>
#include <memory>
#include <string>

#include "tools/vhdx/arguments.h"
#include "tools/vhdx/chosen_disk.h"
#include "tools/vhdx/extent_listing.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/output_file.h"
#include "tools/vhdx/progress.h"
#include "tools/vhdx/saved_model.h"
#include "tools/vhdx/stream_target.h"

namespace NTool {

namespace {

struct CReadOptions {
    CFileOptions disk;
    CRangeChoice range;
    std::string output;
    EProgress progress = EProgress::automatic;
    bool json = false;
    bool fileOnly = false;
    ESync sync = ESync::needed;
    CChainOptions chain;
};

bool IsStandard(const std::string& output) {
    return output.empty() || output == "-";
}

/// The line would stand among the bytes where both go to one terminal.
EProgress WantedProgress(const CReadOptions& options) {
    const bool mixed = IsStandard(options.output) && IsTerminal(stdout);
    return mixed && options.progress == EProgress::automatic ? EProgress::never : options.progress;
}

void WriteAnswer(const CDiskPointer& disk, const CRangeOptions& range, const CReadOptions& options,
                 COutput& output) {
    if (options.json) {
        PrintExtents(disk, options.fileOnly ? EExtentsOf::oneFile : EExtentsOf::chain, range, true,
                     output);
    } else {
        WriteBytes(disk, range, WantedProgress(options), "reading ", output);
    }
    CheckUnchanged(*disk, options.disk);
}

CDiskPointer OpenSource(const CReadOptions& options) {
    return options.fileOnly ? OpenFileOnly(options.disk, options.chain)
                            : OpenDisk(options.disk, options.chain);
}

void RunRead(const CReadOptions& options) {
    const CDiskPointer disk = OpenSource(options);
    const CRangeOptions range = options.range.On(disk->Size());
    if (IsStandard(options.output)) {
        COutput output = COutput::Standard();
        WriteAnswer(disk, range, options, output);
        return;
    }
    COutputFile file(options.output, PathsOf(*disk), options.sync);
    WriteAnswer(disk, range, options, file.Output());
    file.Commit();
}

/// The guest's disk, or what one file holds.
void AddViewArguments(CCommandSyntax& command, const std::shared_ptr<CReadOptions>& options) {
    const CArgument fileOnly = command.AddFlag(
        "--file-only", options->fileOnly,
        "What the file itself holds, without its parents: zeros where it holds nothing");
    const std::string mergedHelp = "The bytes that the guest sees, as without this word";
    command.AddFlag("--merged", mergedHelp).Excludes(fileOnly);
    AddChainArguments(command, options->chain);
    command.Find("--other-paths").Excludes(fileOnly);
    command.Find("--accept-changed-parent").Excludes(fileOnly);
    command.CheckTogether([options] {
        if (!options->disk.model.empty() && !options->fileOnly) {
            throw CUsageError(
                "--model: a saved model is of one file and does not know its parents; it goes with "
                "--file-only");
        }
    });
}

}  // namespace

void AddRead(CProgramSyntax& program, CChosenCommand& chosen) {
    const auto options = std::make_shared<CReadOptions>();
    CCommandSyntax command = program.AddCommand(
        "read", "The bytes of a disk, or of a range of it, as its guest sees them");
    AddDiskArguments(command, options->disk);
    AddModelArgument(command, options->disk);
    AddRangeArguments(command, options->range);
    command.AddText("-o,--output", "OUT", options->output,
                    "Write to this file, which is replaced when all is read, instead of to "
                    "standard output");
    AddNoSyncArgument(command, options->sync);
    AddProgressArgument(command, options->progress);
    command.AddFlag(
        "--json", options->json,
        "Print where the bytes come from instead: an array of {\"start\", \"length\", "
        "\"kind\", \"file\", \"offset\", \"in_log\"}, as 'vhdx map --merged' does; with "
        "--file-only the kind \"parent\" is what the file leaves to its parents");
    AddViewArguments(command, options);
    command.SetFooter(
        "Of a differencing disk these are the bytes of the file and of all its parents, which are\n"
        "looked for by the paths that the files keep. --model goes with --file-only.\n"
        "Example: vhdx read disk.vhdx --offset 1M --length 64K -o part.bin");
    Choose(command, chosen, options, RunRead);
}

}  // namespace NTool
