#include "tools/vhdx/merged_source.h"

#include <optional>
#include <system_error>

#include <fmt/format.h>

#include "host/locator_path.h"
#include "host/path_query.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/command_syntax.h"
#include "tools/vhdx/failure.h"
#include "tools/vhdx/notes.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

/// The reason alone, where the text begins with the name of the file that it is about.
std::optional<CFailure> FailureOf(const std::filesystem::path& file, const std::string& error) {
    const std::string prefix = NVHDXHost::Quoted(file) + ": ";
    if (!error.starts_with(prefix)) {
        return std::nullopt;
    }
    return CFailure(NVHDXHost::TextFromPath(file), Printable(error.substr(prefix.size())));
}

CFailure Failure(const std::filesystem::path& file, const std::string& error) {
    return FailureOf(file, error)
        .value_or(CFailure(NVHDXHost::TextFromPath(file), Printable(error)));
}

using CMergedPointer = std::shared_ptr<const NVHDXHost::CMergedDisk>;

CMergedPointer Open(const CDiskOptions& options, const CChainOptions& chain, bool withParents) {
    const std::filesystem::path file = ChosenFile(options.file, chain.disk);
    std::error_code missing;
    const std::filesystem::file_type kind = NVHDXHost::KindOf(file, missing);
    if (kind == std::filesystem::file_type::not_found || kind == std::filesystem::file_type::none) {
        throw CFailure(NVHDXHost::TextFromPath(file), "there is no such file");
    }
    NVHDXHost::CMergeOptions merge;
    merge.logMode = options.logMode;
    merge.withParents = withParents;
    merge.otherPaths = chain.otherPaths;
    merge.acceptChangedParent = chain.acceptChangedParent;
    const CTraceWriter trace(options.traceLevel);
    const CTraceWriter::CPause pause(trace);
    std::string error;
    auto merged = NVHDXHost::CMergedDisk::Open(file, merge, error);
    if (merged == nullptr) {
        throw Failure(file, error);
    }
    for (const NVHDXHost::CDiskLayer& layer : merged->Layers()) {
        PrintReplay(NVHDXHost::TextFromPath(layer.path), layer.replay.entries);
    }
    for (const std::string& finding : merged->Findings()) {
        PrintNote("warning: " + finding);
    }
    return merged;
}

}  // namespace

void AddChainArguments(CCommandSyntax& command, CChainOptions& chain) {
    command.AddText("--disk", "NAME", chain.disk, "The disk to take where a folder is given");
    command.AddFlag("--other-paths", chain.otherPaths,
                    "Look for parents at the absolute paths that the files keep too");
    command.AddFlag("--accept-changed-parent", chain.acceptChangedParent,
                    "Read a parent that was changed since its child was made, or of which nobody "
                    "can tell, instead of refusing it; the bytes may be wrong");
}

std::filesystem::path ChosenFile(const std::string& source, const std::string& disk) {
    const bool isFolder = NVHDXHost::IsFolder(PathOf(source));
    if (isFolder && disk.empty()) {
        throw CFailure("this is a folder; --disk NAME says which of its disks is meant");
    }
    if (!isFolder && !disk.empty()) {
        throw CFailure("this is not a folder, so there is nothing to choose with --disk");
    }
    if (!isFolder) {
        return PathOf(source);
    }
    // In the current folder a file has its name alone, as its parents have.
    const std::filesystem::path folder = PathOf(source).lexically_normal();
    return folder == "." || folder == "./" ? PathOf(disk) : PathOf(source) / PathOf(disk);
}

CDiskOptions ChosenDisk(CDiskOptions options, const CChainOptions& chain) {
    if (!chain.disk.empty()) {
        options.file = NVHDXHost::TextFromPath(ChosenFile(options.file, chain.disk));
    }
    return options;
}

std::shared_ptr<const NVHDXHost::CMergedDisk> OpenMerged(const CDiskOptions& options,
                                                         const CChainOptions& chain) {
    return Open(options, chain, true);
}

std::shared_ptr<const NVHDXHost::CMergedDisk> OpenAlone(const CDiskOptions& options,
                                                        const CChainOptions& chain) {
    return Open(options, chain, false);
}

CFailure ReadFailure(const NVHDXHost::CMergedDisk& disk, const std::string& error) {
    for (const NVHDXHost::CDiskLayer& layer : disk.Layers()) {
        if (const auto failure = FailureOf(layer.path, error)) {
            return *failure;
        }
    }
    return CFailure(Printable(error));
}

}  // namespace NTool
