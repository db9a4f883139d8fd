#include "tools/vhdx/folder.h"

#include <filesystem>
#include <system_error>

#include <nlohmann/json.hpp>

#include "tools/vhdx/arguments.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/failure.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

namespace fs = std::filesystem;

void CheckFolder(const fs::path& folder) {
    std::error_code error;
    const fs::file_status status = fs::status(folder, error);
    if (status.type() == fs::file_type::not_found) {
        throw CFailure("there is no such folder");
    }
    if (status.type() == fs::file_type::none) {
        throw CFailure(error.message());
    }
    if (status.type() != fs::file_type::directory) {
        throw CFailure("this is not a folder");
    }
}

CFailure NotLinked(const NVHDXHost::CLinking& linking) {
    std::string text;
    for (const std::string& reason : linking.reasons) {
        text.append(text.empty() ? "" : "; ").append(reason);
    }
    return CFailure("the library cannot link these disks: " + Printable(text));
}

}  // namespace

void AddFolderArguments(CLI::App& command, CFolderOptions& folder) {
    command.add_option("FOLDER", folder.folder, "The folder with the disk files")
        ->required()
        ->type_name("");
    AddTraceArgument(command, folder.traceLevel);
    AddNoReplayArgument(command, folder.logMode,
                        "Look at the files as they stand, without the entries of their logs that "
                        "are pending");
}

NVHDXHost::CFolderTree ScanFolder(const CFolderOptions& options) {
    CheckFolder(PathOf(options.folder));
    auto tree = NVHDXHost::CFolderTree::Scan(PathOf(options.folder), options.logMode);
    if (!tree) {
        throw CFailure("the folder cannot be read");
    }
    return std::move(*tree);
}

std::vector<CChain> LinkChains(const std::string& folder, const NVHDXHost::CFolderTree& tree,
                               const CTraceWriter& trace) {
    if (tree.Linking().outcome != NVHDXHost::CLinking::links) {
        throw NotLinked(tree.Linking());
    }
    std::vector<CChain> chains;
    if (!NVHDX::NSnapshotCircuit::NBuilder::DoIt(chains, folder)) {
        throw CFailure(trace.FailureOr("the library cannot link these disks"));
    }
    return chains;
}

std::string NameIn(const std::string& opened) {
    std::string name;
    return NSystem::ExtractFileFolderAndName(nullptr, &name, opened) ? name : opened;
}

std::string NativePath(const std::string& folder, const std::string& opened) {
    const std::u8string path = (PathOf(folder) / PathOf(NameIn(opened))).generic_u8string();
    return std::string(path.begin(), path.end());
}

std::string JsonText(const std::string& text) {
    return nlohmann::json(text).dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
}

}  // namespace NTool
