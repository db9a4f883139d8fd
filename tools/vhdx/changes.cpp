#include <memory>
#include <string>
#include <string_view>

#include "tools/vhdx/arguments.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/ranges.h"
#include "tools/vhdx/saved_model.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

struct CChangesOptions {
    CFileOptions disk;
    std::string ranges;
    bool json = false;
    bool clip = false;
};

/// One thing to copy: a range of the virtual disk, or a sector bitmap, which is a range of the
/// file.
struct CItem {
    NVHDX::EIterationBlockDataType type;
    std::uint64_t index;
    std::uint64_t offset;
    std::uint64_t length;

    std::string_view TypeName() const {
        return type == NVHDX::typePayloadRange ? "payload" : "sector_bitmap";
    }
};

template <class TReport>
void ForEachItem(const COpenedFile& disk, const CModel& model, const CRanges& ranges,
                 TReport report) {
    const auto pause = disk.PauseTrace();
    NVHDX::IterateOverBlocks(model.blocks, ranges, model.params,
                             [&report](NVHDX::EIterationBlockDataType type, std::uint64_t index,
                                       const std::pair<std::uint64_t, std::uint64_t>& place) {
                                 report(CItem{type, index, place.first, place.second});
                             });
}

void PrintJson(const COpenedFile& disk, const CModel& model, const CRanges& ranges,
               COutput& output) {
    std::string_view separator = "[\n  ";
    ForEachItem(disk, model, ranges, [&](const CItem& item) {
        output.Append(separator);
        output.Print(
            FMT_COMPILE("{{\"type\": \"{}\", \"index\": {}, \"offset\": {}, \"length\": {}}}"),
            item.TypeName(), item.index, item.offset, item.length);
        separator = ",\n  ";
    });
    output.Append(separator == ",\n  " ? "\n]\n" : "[]\n");
}

void PrintText(const COpenedFile& disk, const CModel& model, const CRanges& ranges,
               COutput& output) {
    const bool coloured = output.IsColoured();
    output.Print(FMT_COMPILE("{}{:<13}  {:>10}  {:>17}  {:>17}{}\n"), coloured ? "\x1B[1m" : "",
                 "type", "index", "offset", "length", coloured ? "\x1B[0m" : "");
    ForEachItem(disk, model, ranges, [&output](const CItem& item) {
        output.Print(FMT_COMPILE("{:<13}  {:>10}  {:>17}  {:>17}  {:>10}\n"), item.TypeName(),
                     item.index, item.offset, item.length, InUnits(item.length));
    });
}

void RunChanges(const CChangesOptions& options) {
    CRanges ranges = ReadRanges(options.ranges);
    COpenedFile disk(options.disk);
    const CModel model = disk.LoadModel();
    if (options.clip) {
        ClipRanges(ranges, model.params.virtdisksz);
    }
    CheckRanges(options.ranges, ranges, model.params.virtdisksz);
    COutput output = COutput::Standard();
    options.json ? PrintJson(disk, model, ranges, output) : PrintText(disk, model, ranges, output);
    output.Flush();
    disk.CheckUnchanged();
}

}  // namespace

void AddChanges(CProgramSyntax& program, CChosenCommand& chosen) {
    const auto options = std::make_shared<CChangesOptions>();
    CCommandSyntax command = program.AddCommand(
        "changes", "What has to be copied for the ranges that change tracking reports");
    AddDiskArguments(command, options->disk);
    AddRangesArgument(command, options->ranges).Required();
    AddModelArgument(command, options->disk);
    command.AddFlag("--clip", options->clip,
                    "Cut ranges that end past the end of the disk to the disk, and drop those past "
                    "it, instead of refusing them");
    command.AddFlag("--json", options->json,
                    R"(Print an array of {"type", "index", "offset", "length"})");
    command.SetFooter(
        "Items come chunk by chunk: of type payload, a range of the virtual disk, numbered from 0; "
        "of\ntype sector_bitmap, the place in the file of the bitmap of chunk INDEX.\n"
        "A range that ends in the block with the file's last data is widened to that block's end, "
        "later\nones are cut back to its start.\n"
        "Example: vhdx changes disk.avhdx --ranges ranges.json");
    Choose(command, chosen, options, RunChanges);
}

}  // namespace NTool
