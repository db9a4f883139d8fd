#include <algorithm>
#include <memory>
#include <string>

#include "tools/vhdx/arguments.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/output_file.h"

namespace NTool {

namespace {

struct CBitmapOptions {
    CFileOptions disk;
    std::uint32_t chunk = 0;
    std::string output;
    bool position = false;
    ESync sync = ESync::needed;
};

/// The model, filled for this chunk where the disk has it.
CModel LoadChunk(COpenedFile& disk, std::uint32_t chunk) {
    const CGeometry geometry = disk.Geometry();
    const std::uint64_t size = geometry.ratio * geometry.blockSize;
    const std::uint64_t offset = std::min(chunk * size, geometry.virtualSize);
    return disk.LoadModel(offset, std::min(size, geometry.virtualSize - offset));
}

/// Where the bitmap lies in the file, in bytes. Throws `CCommandFailure` when the file has none.
std::uint64_t BitmapPosition(const CModel& model, std::uint32_t chunk) {
    const std::size_t count = model.blocks.chunks.size();
    if (chunk >= count) {
        throw CCommandFailure(fmt::format(
            "there is no chunk {}: the chunks are numbered from 0 to {}", chunk, count - 1));
    }
    std::uint64_t position = 0;
    if (!NVHDX::RequestSectorBitmapRealOffset(model.blocks, chunk, position)) {
        throw CCommandFailure(model.params.bDifferencing
                                  ? fmt::format("chunk {} has no sector bitmap in the file", chunk)
                                  : "the disk has no parent, and so no sector bitmaps");
    }
    return position;
}

void PrintPosition(std::uint64_t position) {
    COutput output = COutput::Standard();
    output.Print(FMT_COMPILE("{}\n"), position);
    output.Flush();
}

void WriteBitmap(const NVHDX::CSectorBitmapArea& area, COutput& output) {
    output.Write(area.data(), area.size());
    output.Flush();
}

void RunBitmap(const CBitmapOptions& options) {
    COpenedFile disk(options.disk);
    const CModel model = LoadChunk(disk, options.chunk);
    const std::uint64_t position = BitmapPosition(model, options.chunk);
    if (options.position) {
        PrintPosition(position);
        disk.CheckUnchanged();
        return;
    }
    const auto area = std::make_unique<NVHDX::CSectorBitmapArea>();
    disk.ReadBitmap(model, options.chunk, *area);
    disk.CheckUnchanged();
    if (options.output == "-") {
        COutput output = COutput::Standard();
        WriteBitmap(*area, output);
        return;
    }
    COutputFile file(options.output, {PathOf(options.disk.file)}, options.sync);
    WriteBitmap(*area, file.Output());
    file.Commit();
}

}  // namespace

void AddBitmap(CProgramSyntax& program, CChosenCommand& chosen) {
    const auto options = std::make_shared<CBitmapOptions>();
    CCommandSyntax command = program.AddCommand(
        "bitmap", "Which sectors of a chunk a differencing disk holds: the bitmap in the file");
    AddDiskArguments(command, options->disk);
    command.AddNumber("--chunk", "N", options->chunk, "The chunk's number, from 0").Required();
    CCommandSyntax result = command.AddAlternatives("Result");
    result.AddText("-o,--output", "OUT", options->output,
                   "Write the bitmap as it stands in the file, 1 MiB, to this file; - for "
                   "standard output");
    result.AddFlag("--position", options->position,
                   "Print only where in the file the bitmap lies, in bytes");
    AddNoSyncArgument(command, options->sync);
    command.SetFooter(
        "A bit stands for a logical sector of the chunk, the least significant bit of byte 0 for "
        "the first.\nExample: vhdx bitmap disk.avhdx --chunk 0 -o bitmap.bin");
    Choose(command, chosen, options, RunBitmap);
}

}  // namespace NTool
