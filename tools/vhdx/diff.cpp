#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <vhdx_disk/path_query.h>
#include "tools/vhdx/arguments.h"
#include "tools/vhdx/chosen_disk.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/extent_listing.h"
#include "tools/vhdx/library_diff.h"
#include "tools/vhdx/notes.h"
#include "tools/vhdx/scanned_folder.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

using NVHDXDisk::CDisk;
using NVHDXDisk::CFolder;
using NVHDXDisk::CTreeFile;

struct CDiffOptions {
    CFileOptions disk;  ///< the file may be a folder
    CChainOptions chain;
    std::string base;
    CRangeChoice range;
    bool json = false;
    bool library = false;
};

CScanOptions FolderOf(const CDiffOptions& options) {
    return {options.disk.file, options.disk.traceLevel, options.disk.log};
}

std::string NameOf(const std::filesystem::path& path) {
    return TextOfPath(path.filename());
}

/// Whether the disk is the base or descends from it. Ends: parents that lead in a circle have no
/// tip below them.
bool StandsOn(const CFolder& tree, std::size_t tip, const std::string& base) {
    for (std::optional<std::size_t> at = tip; at; at = tree.Files()[*at].parent) {
        const CTreeFile& file = tree.Files()[*at];
        if (NameOf(file.path) == base || NameOf(file.parentOutside) == base) {
            return true;
        }
    }
    return false;
}

std::vector<std::string> NamesOfTips(const CFolder& tree, const std::string& base) {
    std::vector<std::string> names;
    for (const std::size_t tip : tree.Tips()) {
        if (base.empty() || StandsOn(tree, tip, base)) {
            names.push_back(NameOf(tree.Files()[tip].path));
        }
    }
    return names;
}

std::string List(const std::vector<std::string>& names) {
    std::string list;
    for (const std::string& name : names) {
        list.append(list.empty() ? "" : ", ").append(name);
    }
    return Printable(list);
}

/// One that cannot be read is refused as every command refuses it.
[[noreturn]] void FailWithoutTips(const CFolder& tree) {
    for (const CTreeFile& file : tree.Files()) {
        if (file.problem) {
            throw CCommandFailure(TextOfPath(file.path), ReasonOf(*file.problem));
        }
    }
    throw CCommandFailure(
        tree.Files().empty()
            ? "the folder holds no disk"
            : "no disk of the folder is the newest of a chain; 'vhdx chain' tells why");
}

[[noreturn]] void FailWithoutTip(const CFolder& tree, const std::string& base) {
    const std::string tips = List(NamesOfTips(tree, ""));
    if (tips.empty()) {
        FailWithoutTips(tree);
    }
    throw CCommandFailure(fmt::format(
        "no chain of the folder has a disk {}; their newest disks are: {}", Printable(base), tips));
}

/// The newest disk of the only chain that can be meant.
std::string OnlyTip(const CDiffOptions& options) {
    const std::shared_ptr<const CFolder> folder = ScanFolder(FolderOf(options));
    const CFolder& tree = *folder;
    const std::vector<std::string> names = NamesOfTips(tree, options.base);
    if (names.empty()) {
        FailWithoutTip(tree, options.base);
    }
    if (names.size() > 1) {
        throw CCommandFailure(
            fmt::format("the folder has {} disks that are the newest of a chain; choose "
                        "one with --disk: {}",
                        names.size(), List(names)));
    }
    for (const CTreeFile& file : tree.Files()) {
        if (file.problem) {
            PrintNote(
                fmt::format("{} is left out: {}", NameOf(file.path), ReasonOf(*file.problem)));
        }
    }
    return names.front();
}

CDiskPointer OpenTip(const CDiffOptions& options) {
    CChainOptions chain = options.chain;
    if (chain.disk.empty() && IsFolder(options.disk.file)) {
        chain.disk = OnlyTip(options);
    }
    return OpenDisk(options.disk, chain);
}

/// The file since which changes are told, among those of the disk.
std::size_t BaseOf(const CDisk& disk, const std::string& base) {
    std::vector<std::string> names;
    for (const NVHDXDisk::CDiskFile& file : disk.Files()) {
        names.push_back(NameOf(file.path));
        if (names.back() == base) {
            return names.size() - 1;
        }
    }
    if (!base.empty()) {
        throw CCommandFailure(fmt::format("the chain has no disk {}; it has, newest first: {}",
                                          Printable(base), List(names)));
    }
    return names.size() - 1;
}

void RunDiff(const CDiffOptions& options) {
    if (options.library) {
        RunLibraryDiff({FolderOf(options), options.base, options.range.offset, options.range.length,
                        options.json});
        return;
    }
    const CDiskPointer disk = OpenTip(options);
    const std::size_t base = BaseOf(*disk, options.base);
    const CRangeOptions range = options.range.On(disk->Size());
    COutput output = COutput::Standard();
    PrintChanges(disk, base, range, options.json, output);
    CheckUnchanged(*disk, options.disk);
}

void AddSourceArguments(CCommandSyntax& command, CDiffOptions& options) {
    command.AddPlaced("SOURCE", options.disk.file,
                      "The folder with the disk files, or the newest file of a chain (.vhdx or "
                      ".avhdx)");
    AddTraceArgument(command, options.disk.traceLevel);
    AddNoReplayArgument(command, options.disk.log,
                        "Look at the files as they stand, without the entries of their logs that "
                        "are pending");
    AddLiveArgument(command, options.disk.live);
    AddChainArguments(command, options.chain);
    command.AddText("--base", "NAME", options.base,
                    "The file name of the disk since which changes are told, without it the "
                    "chain's disk without parent; also chooses among the chains of a folder");
}

/// The library's own walk, which other options are not for.
void AddLibraryArgument(CCommandSyntax& command, const std::shared_ptr<CDiffOptions>& options) {
    command
        .AddFlag("--library", options->library,
                 "What the library's own walk answers, for hosts of the library: places in the "
                 "base disk's file (there --offset and --length lie, too, and go together), "
                 "sector bitmaps read most significant bit first, logs left out; with --json "
                 R"({"base_offset", "file", "offset", "length"})")
        .Excludes(command.Find("--live"))
        .Excludes(command.Find("--disk"))
        .Excludes(command.Find("--other-paths"))
        .Excludes(command.Find("--accept-changed-parent"));
    command.CheckTogether([options] {
        const CRangeChoice& range = options->range;
        if (options->library && range.offset.has_value() != range.length.has_value()) {
            throw CUsageError(range.offset ? "--length is required" : "--offset is required");
        }
    });
}

}  // namespace

void AddDiff(CProgramSyntax& program, CChosenCommand& chosen) {
    const auto options = std::make_shared<CDiffOptions>();
    CCommandSyntax command = program.AddCommand(
        "diff", "What the checkpoints of a chain hold in place of the base disk's data");
    AddSourceArguments(command, *options);
    AddRangeArguments(command, options->range);
    command.AddFlag("--json", options->json,
                    R"(Print an array of {"start", "length", "kind", "file", "offset", "in_log"}, )"
                    "as 'vhdx map --merged' does");
    AddLibraryArgument(command, options);
    command.SetFooter(
        "Runs of the virtual disk in its order, each with the newest file that holds it: data, or\n"
        "zeros, which hide what the base has. What comes from the base is not listed. A hole was "
        "cut\n"
        "off by a smaller disk in between, and reads as zeros.\n"
        "Example: vhdx diff /vm/disks --disk newest.avhdx\n"
        "         vhdx diff newest.avhdx --base older.avhdx");
    Choose(command, chosen, options, RunDiff);
}

}  // namespace NTool
