#include "tools/vhdx/chosen_disk.h"

#include <utility>

#include <fmt/format.h>

#include <vhdx_disk/path_query.h>
#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/command_syntax.h"
#include "tools/vhdx/notes.h"
#include "tools/vhdx/output_file.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

NVHDXDisk::CDiskOptions OptionsOf(const CFileOptions& options, const CChainOptions& chain) {
    NVHDXDisk::CDiskOptions disk;
    disk.log = options.log;
    disk.live = options.live;
    disk.recordedPaths = chain.otherPaths;
    disk.recordedPathsAdvice = "--other-paths";
    disk.acceptChangedParent = chain.acceptChangedParent;
    return disk;
}

/// Of a parent the reason names it, since somebody asked for its child.
CDiskPointer Checked(CDiskPointer disk, const std::filesystem::path& file,
                     const NVHDXDisk::CFailure& failure) {
    if (disk != nullptr) {
        return disk;
    }
    const bool ofParent = !failure.file.empty() && failure.file != file;
    throw CCommandFailure(
        NVHDXDisk::TextOf(file),
        ofParent ? fmt::format("\"{}\": {}", Printable(NVHDXDisk::TextOf(failure.file)),
                               ReasonOf(failure))
                 : ReasonOf(failure));
}

CDiskPointer Open(const CFileOptions& options, const CChainOptions& chain, bool withParents) {
    const std::filesystem::path file = ChosenFile(options.file, chain.disk);
    NVHDXDisk::CDiskOptions wanted = OptionsOf(options, chain);
    wanted.withParents = withParents;
    const CTraceWriter trace(options.traceLevel);
    const CTraceWriter::CPause pause(trace);
    NVHDXDisk::CFailure failure;
    CDiskPointer disk = Checked(NVHDXDisk::CDisk::Open(file, wanted, failure), file, failure);
    for (const NVHDXDisk::CDiskFile& opened : disk->Files()) {
        PrintReplay(NVHDXDisk::TextOf(opened.path), opened.log.entries);
    }
    for (const NVHDXDisk::CFinding& finding : disk->Findings()) {
        PrintNote(
            fmt::format("warning: \"{}\": {}", NVHDXDisk::TextOf(finding.file), finding.text));
    }
    return disk;
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
    const bool isFolder = IsFolder(source);
    if (isFolder && disk.empty()) {
        throw CCommandFailure("this is a folder; --disk NAME says which of its disks is meant");
    }
    if (!isFolder && !disk.empty()) {
        throw CCommandFailure("this is not a folder, so there is nothing to choose with --disk");
    }
    if (!isFolder) {
        return PathOf(source);
    }
    // In the current folder a file has its name alone, as its parents have.
    const std::filesystem::path folder = PathOf(source).lexically_normal();
    return folder == "." || folder == "./" ? PathOf(disk) : PathOf(source) / PathOf(disk);
}

CFileOptions ChosenDisk(CFileOptions options, const CChainOptions& chain) {
    if (!chain.disk.empty()) {
        options.file = NVHDXDisk::TextOf(ChosenFile(options.file, chain.disk));
    }
    return options;
}

CDiskPointer OpenDisk(const CFileOptions& options, const CChainOptions& chain) {
    return Open(options, chain, true);
}

CDiskPointer OpenAlone(const CFileOptions& options, const CChainOptions& chain) {
    return Open(options, chain, false);
}

CDiskPointer OpenFileOnly(const CFileOptions& options, const CChainOptions& chain) {
    COpenedFile file(ChosenDisk(options, chain));
    NVHDXDisk::CDiskOptions wanted = OptionsOf(options, {});
    wanted.withParents = false;
    if (!options.model.empty()) {
        CModel model = file.LoadModel();
        wanted.table = {std::make_shared<const NVHDX::CBlocks>(std::move(model.blocks)),
                        model.params};
    }
    const auto pause = file.PauseTrace();
    NVHDXDisk::CFailure failure;
    return Checked(NVHDXDisk::CDisk::Open({file.Source()}, wanted, failure), PathOf(file.File()),
                   failure);
}

void CheckUnchanged(const NVHDXDisk::CDisk& disk, const CFileOptions& options) {
    NVHDXDisk::CFailure failure;
    if (!disk.CheckUnchanged(failure)) {
        TellChange(failure, options.live);
    }
}

std::vector<std::filesystem::path> PathsOf(const NVHDXDisk::CDisk& disk) {
    std::vector<std::filesystem::path> paths;
    for (const NVHDXDisk::CDiskFile& file : disk.Files()) {
        paths.push_back(file.path);
    }
    return paths;
}

void CheckNotRead(const std::string& output, const NVHDXDisk::CDisk& disk) {
    for (const std::filesystem::path& path : PathsOf(disk)) {
        CheckNotRead(output, path);
    }
}

}  // namespace NTool
