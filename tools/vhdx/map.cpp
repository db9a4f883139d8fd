#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include "tools/vhdx/arguments.h"
#include "tools/vhdx/chosen_disk.h"
#include "tools/vhdx/disk_svg.h"
#include "tools/vhdx/extent_listing.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/output_file.h"
#include "tools/vhdx/saved_model.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

struct CMapOptions {
    CFileOptions disk;
    bool json = false;
    bool merged = false;
    bool sectors = false;
    CChainOptions chain;
    std::string picture;
    ESync sync = ESync::needed;
};

/// A run of blocks in bytes of the disk: the last one ends with the disk.
struct CRunOfDisk {
    CRunOfDisk(const NVHDXDisk::CBlockRun& run, const CGeometry& geometry)
        : blocks(run),
          start(run.firstBlock * geometry.blockSize),
          length(std::min(run.count * geometry.blockSize, geometry.virtualSize - start)) {}

    const NVHDXDisk::CBlockRun& blocks;
    std::uint64_t start;
    std::uint64_t length;
};

/// The runs of a disk. Nothing is printed of a table that is refused, and that may come out at its
/// end only: the table has been read once before.
class CMap {
public:
    explicit CMap(COpenedFile& disk)
        : m_geometry(disk.Geometry()), m_table(disk.Table(NVHDXDisk::CBlockTable::runsWanted)) {}

    template <class TReport>
    void ForEach(TReport report) const {
        NVHDXDisk::CFailure failure;
        const auto take = [&](const NVHDXDisk::CBlockRun& run) {
            report(CRunOfDisk(run, m_geometry));
            return true;
        };
        if (!m_table->Runs(take, failure)) {
            throw FailureOf(failure);
        }
    }

private:
    const CGeometry m_geometry;
    const std::shared_ptr<const NVHDXDisk::CBlockTable> m_table;
};

void PrintRunJson(const CRunOfDisk& run, COutput& output) {
    output.Print(FMT_COMPILE("{{\"start\": {}, \"length\": {}, \"state\": \"{}\", \"offset\": "),
                 run.start, run.length, StateName(run.blocks.state));
    run.blocks.HasData() ? output.Print(FMT_COMPILE("{}}}"), run.blocks.position)
                         : output.Append("null}");
}

void PrintJson(const CMap& map, COutput& output) {
    std::string_view separator = "[\n  ";
    map.ForEach([&](const CRunOfDisk& run) {
        output.Append(separator);
        PrintRunJson(run, output);
        separator = ",\n  ";
    });
    output.Append(separator == ",\n  " ? "\n]\n" : "[]\n");
}

void PrintTitle(COutput& output) {
    const bool coloured = output.IsColoured();
    output.Print(FMT_COMPILE("{}{:>17}  {:>17}  {:>10}  {:<16}  {:>17}{}\n"),
                 coloured ? "\x1B[1m" : "", "start", "length", "", "state", "file offset",
                 coloured ? "\x1B[0m" : "");
}

void PrintText(const CMap& map, COutput& output) {
    PrintTitle(output);
    map.ForEach([&output](const CRunOfDisk& run) {
        output.Print(FMT_COMPILE("{:>17}  {:>17}  {:>10}  {:<16}  {:>17}\n"), run.start, run.length,
                     InUnits(run.length), StateName(run.blocks.state),
                     run.blocks.HasData() ? std::to_string(run.blocks.position) : "-");
    });
}

void DrawPicture(const CMapOptions& options) {
    const auto disk = options.merged ? OpenDisk(options.disk, options.chain)
                                     : OpenAlone(options.disk, options.chain);
    const bool leavesToParents = !options.merged && disk->Files().front().HasParent();
    if (options.picture == "-") {
        COutput output = COutput::Standard();
        DrawDisk(disk, leavesToParents, output);
        output.Flush();
        CheckUnchanged(*disk, options.disk);
        return;
    }
    COutputFile file(options.picture, PathsOf(*disk), options.sync);
    DrawDisk(disk, leavesToParents, file.Output());
    CheckUnchanged(*disk, options.disk);
    file.Commit();
}

void RunMap(const CMapOptions& options) {
    if (!options.picture.empty()) {
        DrawPicture(options);
        return;
    }
    if (options.merged || options.sectors) {
        COutput output = COutput::Standard();
        const auto disk = options.merged ? OpenDisk(options.disk, options.chain)
                                         : OpenAlone(options.disk, options.chain);
        PrintExtents(disk, options.merged ? EExtentsOf::chain : EExtentsOf::oneFile,
                     {0, disk->Size()}, options.json, output);
        CheckUnchanged(*disk, options.disk);
        return;
    }
    COpenedFile disk(ChosenDisk(options.disk, options.chain));
    const CMap map(disk);
    COutput output = COutput::Standard();
    options.json ? PrintJson(map, output) : PrintText(map, output);
    output.Flush();
    disk.CheckUnchanged();
}

}  // namespace

void AddMap(CProgramSyntax& program, CChosenCommand& chosen) {
    const auto options = std::make_shared<CMapOptions>();
    CCommandSyntax command =
        program.AddCommand("map", "The runs of blocks of one state, and where their data lies");
    AddDiskArguments(command, options->disk);
    AddModelArgument(command, options->disk);
    const CArgument model = command.Find("--model");
    command.AddFlag(
        "--json", options->json,
        R"(Print an array of {"start", "length", "state", "offset"}, in bytes; "offset" )"
        "is null where the file holds no data");
    CArgument merged = command.AddFlag(
        "--merged", options->merged,
        "Which file of the chain holds each run of the disk; with --json {\"start\", \"length\", "
        "\"kind\", \"file\", \"offset\", \"in_log\"}");
    merged.Excludes(model);
    command
        .AddFlag("--sectors", options->sectors,
                 "Which sectors a differencing file holds itself; with --json as --merged")
        .Excludes(merged)
        .Excludes(model);
    command
        .AddText("--svg", "OUT", options->picture,
                 "Draw the disk into this file instead: a cell for each block or group of "
                 "blocks, with --merged a colour for each file of the chain; - for standard output")
        .Excludes(model);
    AddNoSyncArgument(command, options->sync).Needs(command.Find("--svg"));
    AddChainArguments(command, options->chain);
    command.Find("--other-paths").Needs(merged);
    command.Find("--accept-changed-parent").Needs(merged);
    command.SetFooter("Example: vhdx map disk.vhdx");
    Choose(command, chosen, options, RunMap);
}

}  // namespace NTool
