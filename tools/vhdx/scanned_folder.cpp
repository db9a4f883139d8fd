#include "tools/vhdx/scanned_folder.h"

#include <filesystem>
#include <system_error>

#include <fmt/format.h>

#include <vhdx_disk/path_query.h>
#include "tools/vhdx/arguments.h"
#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

namespace fs = std::filesystem;

void CheckFolder(const fs::path& folder) {
    std::error_code error;
    const fs::file_type kind = NVHDXDisk::KindOf(folder, error);
    if (kind == fs::file_type::not_found) {
        throw CCommandFailure("there is no such folder");
    }
    if (kind == fs::file_type::none) {
        throw CCommandFailure(error.message());
    }
    if (kind != fs::file_type::directory) {
        throw CCommandFailure("this is not a folder");
    }
}

}  // namespace

void AddFolderArguments(CCommandSyntax& command, CScanOptions& folder) {
    command.AddPlaced("FOLDER", folder.folder, "The folder with the disk files");
    AddTraceArgument(command, folder.traceLevel);
    AddNoReplayArgument(command, folder.log,
                        "Look at the files as they stand, without the entries of their logs that "
                        "are pending");
}

std::string TextOf(const NVHDXDisk::CFolder& folder, const NVHDXDisk::CTreeFinding& finding) {
    const NVHDXDisk::CTreeFile& file = folder.Files()[finding.files.front()];
    return finding.kind == NVHDXDisk::CTreeFinding::unreadable
               ? fmt::format("\"{}\": {}", Printable(file.name), ReasonOf(*file.problem))
               : finding.text;
}

std::shared_ptr<const NVHDXDisk::CFolder> ScanFolder(const CScanOptions& options) {
    CheckFolder(PathOf(options.folder));
    const CTraceWriter trace(options.traceLevel);
    const CTraceWriter::CPause pause(trace);
    NVHDXDisk::CFailure failure;
    auto folder = NVHDXDisk::CFolder::Open(PathOf(options.folder), {options.log, false}, failure);
    if (folder == nullptr) {
        throw FailureOf(failure);
    }
    return folder;
}

}  // namespace NTool
