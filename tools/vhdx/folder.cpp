#include "tools/vhdx/folder.h"

#include <filesystem>
#include <system_error>

#include "host/path_query.h"
#include "tools/vhdx/arguments.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/failure.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

namespace fs = std::filesystem;

void CheckFolder(const fs::path& folder) {
    std::error_code error;
    const fs::file_type kind = NVHDXHost::KindOf(folder, error);
    if (kind == fs::file_type::not_found) {
        throw CFailure("there is no such folder");
    }
    if (kind == fs::file_type::none) {
        throw CFailure(error.message());
    }
    if (kind != fs::file_type::directory) {
        throw CFailure("this is not a folder");
    }
}

}  // namespace

void AddFolderArguments(CCommandSyntax& command, CFolderOptions& folder) {
    command.AddPlaced("FOLDER", folder.folder, "The folder with the disk files");
    AddTraceArgument(command, folder.traceLevel);
    AddNoReplayArgument(command, folder.logMode,
                        "Look at the files as they stand, without the entries of their logs that "
                        "are pending");
}

NVHDXHost::CFolderTree ScanFolder(const CFolderOptions& options) {
    CheckFolder(PathOf(options.folder));
    const CTraceWriter trace(options.traceLevel);
    const CTraceWriter::CPause pause(trace);
    auto tree = NVHDXHost::CFolderTree::Scan(PathOf(options.folder), options.logMode);
    if (!tree) {
        throw CFailure("the folder cannot be read");
    }
    return std::move(*tree);
}

}  // namespace NTool
