#include <algorithm>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "host/raw_export.h"
#include "tools/vhdx/arguments.h"
#include "tools/vhdx/block_runs.h"
#include "tools/vhdx/merged_source.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/output_file.h"
#include "tools/vhdx/progress.h"
#include "tools/vhdx/saved_model.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

/// Large enough that the calls do not count, small enough to stay in the processor's cache.
constexpr std::uint64_t pieceSize = std::uint64_t{1024} * 1024;

struct CReadOptions {
    CDiskOptions disk;
    CRangeOptions range;
    std::string output;
    EProgress progress = EProgress::automatic;
    bool merged = false;
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

void CopyRange(CDisk& disk, const CModel& model, const CReadOptions& options, COutput& output) {
    const CRangeOptions& range = options.range;
    CProgress progress(WantedProgress(options), "reading ");
    progress.Start(range.length);
    NVHDX::CDynamicAllocBuffer<unsigned char, unsigned __int64> buffer;
    const std::uint64_t end = range.offset + range.length;
    std::uint64_t offset = range.offset;
    while (offset != end) {
        const std::uint64_t count = std::min(pieceSize - offset % pieceSize, end - offset);
        if (HasData(model, offset, count)) {
            disk.ReadPayload(model, offset, count, buffer);
            output.Write(buffer.data, count);
        } else {
            output.WriteZeros(count);
        }
        offset += count;
        progress.Advance(count);
    }
    output.Flush();
}

/// Writes the merged bytes one behind the other.
class CMergedOutput final : public NVHDXHost::IRawTarget {
public:
    CMergedOutput(std::shared_ptr<const NVHDXHost::CMergedDisk> disk, COutput& output,
                  CProgress& progress)
        : m_reader(std::move(disk)), m_output(output), m_progress(progress), m_buffer(pieceSize) {}

    void CopyFrom(std::size_t, std::uint64_t, std::uint64_t offset, std::uint64_t length) override {
        for (const std::uint64_t end = offset + length; offset != end;) {
            const std::span<unsigned char> piece(
                m_buffer.data(), static_cast<std::size_t>(std::min(pieceSize, end - offset)));
            if (!m_reader.Read(offset, piece)) {
                throw CFailure(Printable(m_reader.Error()));
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

void CopyMerged(const std::shared_ptr<const NVHDXHost::CMergedDisk>& disk,
                const CReadOptions& options, COutput& output) {
    CProgress progress(WantedProgress(options), "reading ");
    progress.Start(options.range.length);
    NVHDXHost::CRawExport source(disk);
    CMergedOutput target(disk, output, progress);
    if (!source.Copy(options.range.offset, options.range.length, target)) {
        throw CFailure(Printable(source.Error()));
    }
    output.Flush();
}

void RunMerged(const CReadOptions& options) {
    const auto disk = OpenMerged(options.disk, options.chain);
    CheckRange(options.range.offset, options.range.length, disk->Size());
    if (IsStandard(options.output)) {
        COutput output = COutput::Standard();
        CopyMerged(disk, options, output);
        return;
    }
    for (const NVHDXHost::CDiskLayer& layer : disk->Layers()) {
        CheckNotRead(options.output, layer.path);
    }
    COutputFile file(options.output, options.disk.file);
    CopyMerged(disk, options, file.Output());
    file.Commit();
}

void RunRead(const CReadOptions& options) {
    if (options.merged) {
        RunMerged(options);
        return;
    }
    CDisk disk(ChosenDisk(options.disk, options.chain));
    CheckRange(options.range.offset, options.range.length, disk.Geometry().virtualSize);
    if (IsStandard(options.output)) {
        COutput output = COutput::Standard();
        CopyRange(disk, disk.LoadModel(), options, output);
        return;
    }
    COutputFile file(options.output, options.disk.file);
    CopyRange(disk, disk.LoadModel(), options, file.Output());
    file.Commit();
}

}  // namespace

void AddRead(CLI::App& program, CChosenCommand& chosen) {
    const auto options = std::make_shared<CReadOptions>();
    CLI::App& command = *program.add_subcommand(
        "read", "The bytes of a range of the virtual disk, zeros where the file holds no data");
    AddDiskArguments(command, options->disk);
    AddModelArgument(command, options->disk);
    AddRangeArguments(command, options->range);
    command
        .add_option("-o,--output", options->output,
                    "Write to this file, which is replaced when all is read, instead of to "
                    "standard output")
        ->type_name("OUT");
    AddProgressArgument(command, options->progress);
    CLI::Option* const merged =
        command.add_flag("--merged", options->merged,
                         "The bytes that the guest sees: those of the file and of all its parents");
    AddChainArguments(command, options->chain);
    command.get_option("--other-paths")->needs(merged);
    command.get_option("--accept-changed-parent")->needs(merged);
    command.footer(
        "Of a differencing disk this is what the file itself holds, without its parents, unless "
        "--merged is given.\n"
        "Example: vhdx read disk.vhdx --offset 1M --length 64K -o part.bin");
    Choose(command, chosen, options, RunRead);
}

}  // namespace NTool
