#include "tools/vhdx/folder.h"

#include <filesystem>
#include <system_error>

#include "host/locator_path.h"
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
    const CTraceWriter trace(options.traceLevel);
    const CTraceWriter::CPause pause(trace);
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
    if (!NVHDX::NSnapshotCircuit::NBuilder::DoIt(chains, PathOf(folder).native())) {
        throw CFailure(trace.FailureOr("the library cannot link these disks"));
    }
    return chains;
}

std::string NameIn(const NVHDXHost::CPlatformName& opened) {
    NVHDXHost::CPlatformName name;
    return NVHDXHost::TextFromPath(
        NSystem::ExtractFileFolderAndName(nullptr, &name, opened) ? name : opened);
}

std::string NativePath(const std::string& folder, const NVHDXHost::CPlatformName& opened) {
    const fs::path path = PathOf(folder) / PathOf(NameIn(opened));
    std::string text = NVHDXHost::TextFromPath(path);
    // Windows takes such a path as it stands, and none with '/' in it.
    const bool isTakenAsItStands = text.rfind(R"(\\?\)", 0) == 0;
    return isTakenAsItStands
               ? text
               : NVHDXHost::TextFromPath(path.generic_string<NVHDXHost::CPlatformLetter>());
}

}  // namespace NTool
