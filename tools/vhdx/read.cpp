#include <algorithm>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "host/raw_export.h"
#include "tools/vhdx/arguments.h"
#include "tools/vhdx/extent_map.h"
#include "tools/vhdx/merged_source.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/output_file.h"
#include "tools/vhdx/progress.h"
#include "tools/vhdx/saved_model.h"

namespace NTool {

namespace {

/// Large enough that the calls do not count, small enough to stay in the processor's cache.
constexpr std::uint64_t pieceSize = std::uint64_t{1024} * 1024;

struct CReadOptions {
    CDiskOptions disk;
    CRangeChoice range;
    std::string output;
    EProgress progress = EProgress::automatic;
    bool json = false;
    bool fileOnly = false;
    CChainOptions chain;
};

using CDiskPointer = std::shared_ptr<const NVHDXHost::CMergedDisk>;

bool IsStandard(const std::string& output) {
    return output.empty() || output == "-";
}

/// The line would stand among the bytes where both go to one terminal.
EProgress WantedProgress(const CReadOptions& options) {
    const bool mixed = IsStandard(options.output) && IsTerminal(stdout);
    return mixed && options.progress == EProgress::automatic ? EProgress::never : options.progress;
}

/// Writes the bytes of the disk one behind the other.
class CBytesInOrder final : public NVHDXHost::IRawTarget {
public:
    CBytesInOrder(const CDiskPointer& disk, COutput& output, CProgress& progress)
        : m_reader(disk), m_output(output), m_progress(progress), m_buffer(pieceSize) {}

    void CopyFrom(std::size_t, std::uint64_t, std::uint64_t offset, std::uint64_t length) override {
        for (const std::uint64_t end = offset + length; offset != end;) {
            const std::span<unsigned char> piece(
                m_buffer.data(), static_cast<std::size_t>(std::min(pieceSize, end - offset)));
            if (!m_reader.Read(offset, piece)) {
                throw ReadFailure(m_reader.Disk(), m_reader.Error());
            }
            Write(offset, piece);
            offset += piece.size();
        }
    }
    void Write(std::uint64_t, std::span<const unsigned char> bytes) override {
        m_output.Write(bytes.data(), bytes.size());
        m_progress.Advance(bytes.size());
    }
    void Zero(std::uint64_t, std::uint64_t length) override {
        m_output.WriteZeros(length);
        m_progress.Advance(length);
    }

private:
    NVHDXHost::CMergedReader m_reader;
    COutput& m_output;
    CProgress& m_progress;
    std::vector<unsigned char> m_buffer;
};

void WriteBytes(const CDiskPointer& disk, const CRangeOptions& range, const CReadOptions& options,
                COutput& output) {
    CProgress progress(WantedProgress(options), "reading ");
    progress.Start(range.length);
    NVHDXHost::CRawExport source(disk);
    CBytesInOrder target(disk, output, progress);
    if (!source.Copy(range.offset, range.length, target)) {
        throw ReadFailure(*disk, source.Error());
    }
    output.Flush();
}

void WriteAnswer(const CDiskPointer& disk, const CRangeOptions& range, const CReadOptions& options,
                 COutput& output) {
    if (options.json) {
        PrintExtents(disk, options.fileOnly ? EExtentsOf::oneFile : EExtentsOf::chain, range, true,
                     output);
        return;
    }
    WriteBytes(disk, range, options, output);
}

/// The file alone is read through the library's model of its blocks, which may be a saved one.
CDiskPointer OpenSource(const CReadOptions& options) {
    if (!options.fileOnly) {
        return OpenMerged(options.disk, options.chain);
    }
    CDisk disk(ChosenDisk(options.disk, options.chain));
    return NVHDXHost::CMergedDisk::OfFile(disk.Layer(disk.LoadModel()));
}

void RunRead(const CReadOptions& options) {
    const CDiskPointer disk = OpenSource(options);
    const CRangeOptions range = options.range.On(disk->Size());
    if (IsStandard(options.output)) {
        COutput output = COutput::Standard();
        WriteAnswer(disk, range, options, output);
        return;
    }
    for (const NVHDXHost::CDiskLayer& layer : disk->Layers()) {
        CheckNotRead(options.output, layer.path);
    }
    COutputFile file(options.output, options.disk.file);
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
