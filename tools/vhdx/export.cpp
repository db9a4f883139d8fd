#include <algorithm>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "host/merged_reader.h"
#include "host/path_query.h"
#include "tools/vhdx/arguments.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/merged_source.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/output_file.h"
#include "tools/vhdx/progress.h"
#include "tools/vhdx/ranges.h"
#include "tools/vhdx/raw_copy.h"
#include "tools/vhdx/raw_verification.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

struct CExportOptions {
    CDiskOptions disk;
    CChainOptions chain;
    std::string output;  ///< either a new image or one that is brought up to date
    std::string older;
    std::string ranges;
    EProgress progress = EProgress::automatic;
    bool force = false;
    bool verify = false;
};

using CDiskPointer = std::shared_ptr<const NVHDXHost::CMergedDisk>;

void CheckOutput(const std::string& output, const NVHDXHost::CMergedDisk& disk) {
    for (const NVHDXHost::CDiskLayer& layer : disk.Layers()) {
        CheckNotRead(output, layer.path);
    }
    std::error_code error;
    switch (NVHDXHost::KindOf(PathOf(output), error)) {
        case std::filesystem::file_type::none:
        case std::filesystem::file_type::not_found:
        case std::filesystem::file_type::regular:
        case std::filesystem::file_type::directory:
            return;
        default:
            throw CFailure(output, "only a file can be written, no device and no pipe");
    }
}

bool IsStandard(const CExportOptions& options) {
    return options.output == "-";
}

/// Plain bytes to standard output, zeros and all: who reads them may be anybody.
void WriteImage(const CExportOptions& options) {
    constexpr std::uint64_t pieceSize = std::uint64_t{1} << 20;
    const CDiskPointer disk = OpenMerged(options.disk, options.chain);
    COutput output = COutput::Standard();
    // The line would stand among the bytes where both go to one terminal.
    const bool mixed = options.progress == EProgress::automatic && IsTerminal(stdout);
    CProgress progress(mixed ? EProgress::never : options.progress, "exporting ");
    progress.Start(disk->Size());
    NVHDXHost::CMergedReader reader(disk);
    std::vector<unsigned char> buffer(pieceSize);
    for (std::uint64_t offset = 0; offset != disk->Size();) {
        const std::span<unsigned char> piece(
            buffer.data(), static_cast<std::size_t>(std::min(pieceSize, disk->Size() - offset)));
        if (!reader.Read(offset, piece)) {
            throw CFailure(Printable(reader.Error()));
        }
        output.Write(piece.data(), piece.size());
        offset += piece.size();
        progress.Advance(piece.size());
    }
    output.Flush();
}

void MakeImage(const CExportOptions& options) {
    if (IsStandard(options)) {
        WriteImage(options);
        return;
    }
    const CDiskPointer disk = OpenMerged(options.disk, options.chain);
    CheckOutput(options.output, *disk);
    COutputFile file(options.output, options.disk.file,
                     options.force ? COutputFile::mayReplace : COutputFile::mustBeNew);
    CRawFile raw(file.WrittenPath(), options.output, CRawFile::toReadAndWrite);
    FillRaw(disk, raw, options.progress);
    if (options.verify) {
        VerifyRaw(disk, {{0, disk->Size()}}, raw, options.progress);
    }
    raw.Close();
    file.Commit();
}

void UpdateImage(const CExportOptions& options) {
    CRanges ranges = ReadRanges(options.ranges);
    const CDiskPointer disk = OpenMerged(options.disk, options.chain);
    CheckRanges(options.ranges, ranges, disk->Size());
    CheckOutput(options.older, *disk);
    CRawFile raw(PathOf(options.older), options.older, CRawFile::toReadAndWrite);
    ranges = UpdateRaw(disk, std::move(ranges), raw, options.progress);
    if (options.verify) {
        VerifyRaw(disk, ranges, raw, options.progress);
    }
    raw.Close();
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
    AddProgressArgument(command, options->progress);
    command.SetFooter(
        "Of a checkpoint this is the disk as it was then: the file and all its parents, which are\n"
        "looked for by the paths that the files keep. Every disk file stays as it is.\n"
        "An update writes the ranges and nothing else. RAW grows with the disk; what it grows by\n"
        "is copied whether or not the ranges name it. An update that was interrupted or failed\n"
        "leaves RAW updated in part: run it again, with the same ranges.\n"
        "Example: vhdx export disk.avhdx -o disk.raw\n"
        "         vhdx export disk.avhdx --update disk.raw --ranges ranges.json");
    Choose(command, chosen, options, RunExport);
}

}  // namespace NTool
