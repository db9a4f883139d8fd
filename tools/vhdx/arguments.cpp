#include "tools/vhdx/arguments.h"

#include <utility>

#include "tools/vhdx/size_text.h"

namespace NTool {

namespace {

constexpr const char* offsetHelp =
    "Where the range starts on the virtual disk, in bytes; K, M, G and T multiply by powers of "
    "1024";

void AddSize(CCommandSyntax& command, const std::string& name, const std::string& help,
             std::uint64_t& size) {
    AddSizeArgument(command, name, help, [&size](std::uint64_t given) { size = given; }).Required();
}

}  // namespace

CRangeOptions CRangeChoice::On(std::uint64_t virtualSize) const {
    CRangeOptions range{offset.value_or(0), length.value_or(0)};
    CheckRange(range.offset, range.length, virtualSize);
    if (!length) {
        range.length = virtualSize - range.offset;
    }
    return range;
}

CArgument AddSizeArgument(CCommandSyntax& command, const std::string& name, const std::string& help,
                          std::function<void(std::uint64_t)> take) {
    const auto parse = [name, take = std::move(take)](const std::string& text) {
        try {
            take(ParseSize(text));
        } catch (const CSizeError& error) {
            throw CUsageError(name + ": " + error.what());
        }
    };
    return command.AddTaken(name, "N", parse, help);
}

void AddDiskArguments(CCommandSyntax& command, CFileOptions& disk) {
    command.AddPlaced("FILE", disk.file, "The disk file (.vhdx or .avhdx)");
    AddTraceArgument(command, disk.traceLevel);
    AddNoReplayArgument(
        command, disk.log,
        "Show the file as it stands, without the entries of its log that are pending");
    AddLiveArgument(command, disk.live);
}

void AddLiveArgument(CCommandSyntax& command, bool& live) {
    command.AddFlag(
        "--live", live,
        "Also read a disk that is written meanwhile, instead of refusing what was read; "
        "the answer may be of two states, and one line says so");
}

void AddNoReplayArgument(CCommandSyntax& command, NVHDXDisk::ELog& log, const std::string& help) {
    command.AddFlag(
        "--no-replay", [&log] { log = NVHDXDisk::ELog::asItStands; }, help);
}

void AddTraceArgument(CCommandSyntax& command, std::optional<std::uint32_t>& level) {
    command.AddNumber(
        "--trace", "LEVEL", 1, 4, level,
        "Print the library's trace lines of this level and of coarser ones to standard error: 1 "
        "all, 2 misplaced writes and coarser, 3 failures and coarser, 4 information only");
}

CArgument AddNoSyncArgument(CCommandSyntax& command, ESync& sync) {
    return command.AddFlag(
        "--no-sync", [&sync] { sync = ESync::unneeded; },
        "Do not wait until the disk has what was written: faster, and a power cut soon after may "
        "leave it incomplete");
}

CArgument AddRangesArgument(CCommandSyntax& command, std::string& file) {
    return command.AddText(
        "--ranges", "RANGES", file,
        "The changed ranges of the virtual disk in bytes, in ascending order and "
        R"(without overlap: a JSON array of {"offset", "length"}, or a line )"
        R"("offset,length" for each; - for standard input)");
}

void AddRangeArguments(CCommandSyntax& command, CRangeOptions& range) {
    AddSize(command, "--offset", offsetHelp, range.offset);
    AddSize(command, "--length", "How long the range is, as --offset", range.length);
}

void AddRangeArguments(CCommandSyntax& command, CRangeChoice& range) {
    AddSizeArgument(command, "--offset", std::string(offsetHelp) + "; without it 0",
                    [&range](std::uint64_t given) { range.offset = given; });
    AddSizeArgument(command, "--length",
                    "How long the range is, as --offset; without it the range goes to the disk's "
                    "end",
                    [&range](std::uint64_t given) { range.length = given; });
}

}  // namespace NTool
