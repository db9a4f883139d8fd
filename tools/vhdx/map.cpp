#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/vhdx/arguments.h"
#include "tools/vhdx/block_runs.h"
#include "tools/vhdx/block_table.h"
#include "tools/vhdx/disk_svg.h"
#include "tools/vhdx/extent_map.h"
#include "tools/vhdx/merged_source.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/output_file.h"
#include "tools/vhdx/saved_model.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

struct CMapOptions {
    CDiskOptions disk;
    bool json = false;
    bool merged = false;
    bool sectors = false;
    CChainOptions chain;
    std::string picture;
};

void PrintRunJson(const CBlockRun& run, COutput& output) {
    output.Print(FMT_COMPILE("{{\"start\": {}, \"length\": {}, \"state\": \"{}\", \"offset\": "),
                 run.start, run.length, StateName(run.state));
    run.HasData() ? output.Print(FMT_COMPILE("{}}}"), run.fileOffset) : output.Append("null}");
}

/// The runs of a disk. Nothing may be printed of a table that is refused, and that may come out at
/// its end only: the runs are kept while it is read, and when they become too many it is read once
/// more for them.
class CMap {
public:
    explicit CMap(CDisk& disk)
        : m_geometry(disk.Geometry()),
          m_runs(m_geometry.blockSize, m_geometry.virtualSize,
                 [this](const CBlockRun& run) { Keep(run); }),
          m_table(disk, [this](std::span<const std::uint64_t> words) { Join(words); }) {
        m_runs.Finish();
    }

    void ForEach(const CBlockRuns::CReport& report) {
        if (m_kept.size() <= mostKept) {
            std::for_each(m_kept.begin(), m_kept.end(), report);
            return;
        }
        CBlockRuns runs(m_geometry.blockSize, m_geometry.virtualSize, report);
        m_table.ForEach([&runs](std::span<const std::uint64_t> words) { runs.Add(words); });
        runs.Finish();
    }

private:
    static constexpr std::size_t mostKept = 65536;

    void Join(std::span<const std::uint64_t> words) {
        if (m_kept.size() <= mostKept) {
            m_runs.Add(words);
        }
    }
    void Keep(const CBlockRun& run) {
        if (m_kept.size() <= mostKept) {
            m_kept.push_back(run);
        }
    }

    const CGeometry m_geometry;
    std::vector<CBlockRun> m_kept;
    CBlockRuns m_runs;
    CBlockTable m_table;
};

void PrintJson(CMap& map, COutput& output) {
    std::string_view separator = "[\n  ";
    map.ForEach([&](const CBlockRun& run) {
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

void PrintText(CMap& map, COutput& output) {
    PrintTitle(output);
    map.ForEach([&output](const CBlockRun& run) {
        output.Print(FMT_COMPILE("{:>17}  {:>17}  {:>10}  {:<16}  {:>17}\n"), run.start, run.length,
                     InUnits(run.length), StateName(run.state),
                     run.HasData() ? std::to_string(run.fileOffset) : "-");
    });
}

void DrawPicture(const CMapOptions& options) {
    const auto disk = options.merged ? OpenMerged(options.disk, options.chain)
                                     : OpenAlone(options.disk, options.chain);
    const bool leavesToParents = !options.merged && disk->Newest().HasParent();
    if (options.picture == "-") {
        COutput output = COutput::Standard();
        DrawDisk(disk, leavesToParents, output);
        output.Flush();
        return;
    }
    for (const NVHDXHost::CDiskLayer& layer : disk->Layers()) {
        CheckNotRead(options.picture, layer.path);
    }
    COutputFile file(options.picture, options.disk.file);
    DrawDisk(disk, leavesToParents, file.Output());
    file.Commit();
}

void RunMap(const CMapOptions& options) {
    if (!options.picture.empty()) {
        DrawPicture(options);
        return;
    }
    if (options.merged || options.sectors) {
        COutput output = COutput::Standard();
        const auto disk = options.merged ? OpenMerged(options.disk, options.chain)
                                         : OpenAlone(options.disk, options.chain);
        PrintExtents(disk, options.merged ? EExtentsOf::chain : EExtentsOf::oneFile,
                     {0, disk->Size()}, options.json, output);
        return;
    }
    CDisk disk(ChosenDisk(options.disk, options.chain));
    CMap map(disk);
    COutput output = COutput::Standard();
    options.json ? PrintJson(map, output) : PrintText(map, output);
    output.Flush();
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
    AddChainArguments(command, options->chain);
    command.Find("--other-paths").Needs(merged);
    command.Find("--accept-changed-parent").Needs(merged);
    command.SetFooter("Example: vhdx map disk.vhdx");
    Choose(command, chosen, options, RunMap);
}

}  // namespace NTool
