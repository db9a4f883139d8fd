#include <cstdio>
#include <memory>
#include <string>
#include <system_error>
#include <utility>

#include <vhdx_disk/path_query.h>
#include "tools/vhdx/arguments.h"
#include "tools/vhdx/chosen_disk.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/image_filling.h"
#include "tools/vhdx/image_verification.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/output_file.h"
#include "tools/vhdx/progress.h"
#include "tools/vhdx/ranges.h"
#include "tools/vhdx/stream_target.h"
#include "tools/vhdx/text.h"
#include "tools/vhdx/update_mark.h"

namespace NTool {

namespace {

struct CExportOptions {
    CFileOptions disk;
    CChainOptions chain;
    std::string output;  ///< either a new image or one that is brought up to date
    std::string older;
    std::string ranges;
    EProgress progress = EProgress::automatic;
    bool force = false;
    bool verify = false;
    ESync sync = ESync::needed;
};

void CheckOutput(const std::string& output, const NVHDXDisk::CDisk& disk) {
    CheckNotRead(output, disk);
    std::error_code error;
    switch (NVHDXDisk::KindOf(PathOf(output), error)) {
        case std::filesystem::file_type::none:
        case std::filesystem::file_type::not_found:
        case std::filesystem::file_type::regular:
        case std::filesystem::file_type::directory:
            return;
        default:
            throw CCommandFailure(output, "only a file can be written, no device and no pipe");
    }
}

bool IsStandard(const CExportOptions& options) {
    return options.output == "-";
}

void WriteImage(const CExportOptions& options) {
    const CDiskPointer disk = OpenDisk(options.disk, options.chain);
    COutput output = COutput::Standard();
    // The line would stand among the bytes where both go to one terminal.
    const bool mixed = options.progress == EProgress::automatic && IsTerminal(stdout);
    WriteBytes(disk, {0, disk->Size()}, mixed ? EProgress::never : options.progress, "exporting ",
               output);
    CheckUnchanged(*disk, options.disk);
}

void MakeImage(const CExportOptions& options) {
    if (IsStandard(options)) {
        WriteImage(options);
        return;
    }
    const CDiskPointer disk = OpenDisk(options.disk, options.chain);
    CheckOutput(options.output, *disk);
    COutputFile file(options.output, PathsOf(*disk), options.sync,
                     options.force ? COutputFile::mayReplace : COutputFile::mustBeNew);
    CImageFile raw(file.Descriptor(), options.output);
    FillImage(disk, raw, options.progress);
    if (options.verify) {
        VerifyImage(disk, {{0, disk->Size()}}, raw, options.progress);
    }
    CheckUnchanged(*disk, options.disk);
    file.Commit();
    RemoveUpdateMark(options.output, options.sync);
}

void Update(const CDiskPointer& disk, const CRanges& ranges, CImageFile& raw,
            const CExportOptions& options) {
    BringUpToDate(disk, ranges, raw, options.progress);
    if (options.verify) {
        VerifyImage(disk, ranges, raw, options.progress);
    }
    CheckUnchanged(*disk, options.disk);
    if (options.sync == ESync::needed) {
        raw.MakeDurable();
    }
    raw.Close();
}

void UpdateImage(const CExportOptions& options) {
    CRanges ranges = ReadRanges(options.ranges);
    const CDiskPointer disk = OpenDisk(options.disk, options.chain);
    CheckRanges(options.ranges, ranges, disk->Size());
    CheckOutput(options.older, *disk);
    CImageFile raw(PathOf(options.older), options.older, CImageFile::toReadAndWrite);
    CUpdateMark mark(options.older, *disk, options.sync);
    const std::uint64_t olderSize = mark.OlderSize(raw.Size());
    ranges = RangesToUpdate(disk, std::move(ranges), raw, olderSize);
    mark.Set(ranges, olderSize);
    try {
        Update(disk, ranges, raw, options);
    } catch (const CCommandFailure& failure) {
        throw CCommandFailure(failure.Subject(),
                              std::string(failure.what()) +
                                  " (the image may be updated in part; run the update again)");
    }
    mark.Remove();
}

void RunExport(const CExportOptions& options) {
    options.older.empty() ? MakeImage(options) : UpdateImage(options);
}

/// Standard output cannot be read, and what is updated or verified has to be.
void CheckStandard(const CExportOptions& options) {
    if (options.older == "-") {
        throw CUsageError("--update: standard output holds no earlier export");
    }
    if (IsStandard(options) && options.verify) {
        throw CUsageError("--verify: standard output cannot be read back");
    }
}

/// Either OUT, or RAW with RANGES.
void AddImageArguments(CCommandSyntax& command, const std::shared_ptr<CExportOptions>& options) {
    const CArgument output =
        command.AddText("-o,--output", "OUT", options->output,
                        "The raw image; it appears when it is complete, and takes no space for "
                        "zeros; - for standard output, which gets every byte");
    command.AddFlag("--force", options->force, "Replace OUT when it exists").Needs(output);
    CArgument older =
        command.AddText("--update", "RAW", options->older,
                        "Bring an earlier export up to date, in its place, by copying what changed "
                        "since");
    older.Excludes(output);
    AddRangesArgument(command, options->ranges).Needs(older);
    older.Needs(command.Find("--ranges"));
    command.CheckTogether([options] {
        if (options->output.empty() && options->older.empty()) {
            throw CUsageError("--output or --update is required");
        }
        CheckStandard(*options);
    });
}

}  // namespace

void AddExport(CProgramSyntax& program, CChosenCommand& chosen) {
    const auto options = std::make_shared<CExportOptions>();
    CCommandSyntax command =
        program.AddCommand("export", "The virtual disk as a raw image, merged with its parents");
    AddDiskArguments(command, options->disk);
    AddChainArguments(command, options->chain);
    AddImageArguments(command, options);
    command.AddFlag("--verify", options->verify,
                    "Read back what was written and compare it with the disk; OUT only appears "
                    "when it is the same");
    AddNoSyncArgument(command, options->sync);
    AddProgressArgument(command, options->progress);
    command.SetFooter(
        "Of a checkpoint this is the disk as it was then: the file and all its parents, which are\n"
        "looked for by the paths that the files keep. Every disk file stays as it is.\n"
        "An update writes the ranges and nothing else. RAW grows with the disk; what it grows by\n"
        "is copied whether or not the ranges name it. An update that was interrupted or failed\n"
        "leaves RAW updated in part, and RAW.updating beside it: run it again, with the same\n"
        "ranges or more. Until then every other update of RAW is refused.\n"
        "Example: vhdx export disk.avhdx -o disk.raw\n"
        "         vhdx export disk.avhdx --update disk.raw --ranges ranges.json");
    Choose(command, chosen, options, RunExport);
}

}  // namespace NTool
