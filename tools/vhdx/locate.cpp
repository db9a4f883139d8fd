#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include "tools/vhdx/arguments.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/saved_model.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

struct CLocateOptions {
    CFileOptions disk;
    CRangeOptions range;
    bool json = false;
};

/// One piece of the range: it lies in one block.
struct CPiece {
    std::uint64_t start;
    std::uint64_t length;
    std::int64_t fileOffset;

    bool HasData() const { return fileOffset != -1; }
    std::uint64_t Position() const { return static_cast<std::uint64_t>(fileOffset); }
};

/// Hands over the pieces in range order; asks for so many blocks at a time that memory stays small.
template <class TReport>
void ForEachPiece(const COpenedFile& disk, const CModel& model, const CRangeOptions& range,
                  TReport report) {
    const std::uint64_t step = std::uint64_t{4096} * model.params.payloadblksz;
    const std::uint64_t end = range.offset + range.length;
    std::uint64_t start = range.offset;
    while (start != end) {
        const std::uint64_t count = std::min(step - start % step, end - start);
        for (const auto& [fileOffset, length] : disk.RealOffsets(model, start, count)) {
            report(CPiece{start, length, fileOffset});
            start += length;
        }
    }
}

void PrintJson(const COpenedFile& disk, const CModel& model, const CRangeOptions& range,
               COutput& output) {
    std::string_view separator = "[\n  ";
    ForEachPiece(disk, model, range, [&](const CPiece& piece) {
        output.Append(separator);
        output.Print(FMT_COMPILE("{{\"start\": {}, \"length\": {}, \"offset\": "), piece.start,
                     piece.length);
        piece.HasData() ? output.Print(FMT_COMPILE("{}}}"), piece.Position())
                        : output.Append("null}");
        separator = ",\n  ";
    });
    output.Append(separator == ",\n  " ? "\n]\n" : "[]\n");
}

void PrintText(const COpenedFile& disk, const CModel& model, const CRangeOptions& range,
               COutput& output) {
    const bool coloured = output.IsColoured();
    output.Print(FMT_COMPILE("{}{:>17}  {:>17}  {:>10}  {:>17}{}\n"), coloured ? "\x1B[1m" : "",
                 "start", "length", "", "file offset", coloured ? "\x1B[0m" : "");
    ForEachPiece(disk, model, range, [&output](const CPiece& piece) {
        output.Print(FMT_COMPILE("{:>17}  {:>17}  {:>10}  {:>17}\n"), piece.start, piece.length,
                     InUnits(piece.length),
                     piece.HasData() ? std::to_string(piece.Position()) : "-");
    });
}

void RunLocate(const CLocateOptions& options) {
    COpenedFile disk(options.disk);
    const CModel model = disk.LoadModel(options.range.offset, options.range.length);
    CheckRange(options.range.offset, options.range.length, model.params.virtdisksz);
    COutput output = COutput::Standard();
    options.json ? PrintJson(disk, model, options.range, output)
                 : PrintText(disk, model, options.range, output);
    output.Flush();
    disk.CheckUnchanged();
}

}  // namespace

void AddLocate(CProgramSyntax& program, CChosenCommand& chosen) {
    const auto options = std::make_shared<CLocateOptions>();
    CCommandSyntax command = program.AddCommand(
        "locate", "Where in the file the bytes of a range of the virtual disk lie, block by block");
    AddDiskArguments(command, options->disk);
    AddModelArgument(command, options->disk);
    AddRangeArguments(command, options->range);
    command.AddFlag(
        "--json", options->json,
        R"(Print an array of {"start", "length", "offset"}, in bytes; "offset" is null )"
        "where the file holds no data");
    command.SetFooter("Example: vhdx locate disk.vhdx --offset 3M --length 2M");
    Choose(command, chosen, options, RunLocate);
}

}  // namespace NTool
