#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#if !defined(_WIN32)
#include <unistd.h>

#include "tools/vhdx/socket_place.h"
#endif

#include "tools/vhdx/arguments.h"
#include "tools/vhdx/chosen_disk.h"
#include "tools/vhdx/command_failure.h"

namespace NTool {

namespace {

namespace fs = std::filesystem;

struct CServeOptions {
    CFileOptions disk;
    CChainOptions chain;
    std::string socket;
};

#if defined(_WIN32)

void RunServe(const CServeOptions&) {
    throw CCommandFailure("nbdkit does not run on Windows");
}

#else

constexpr auto PluginFile = "nbdkit-vhdx-plugin.so";

/// Beside the command, where it was built, or where it was installed with the command.
fs::path FindPlugin() {
    std::error_code error;
    const fs::path folder = fs::read_symlink("/proc/self/exe", error).parent_path();
    const std::array<fs::path, 2> candidates = {folder / PluginFile,
                                                folder / VHDX_PLUGIN_FROM_COMMAND / PluginFile};
    for (const fs::path& candidate : candidates) {
        if (fs::is_regular_file(candidate, error)) {
            return fs::weakly_canonical(candidate, error);
        }
    }
    throw CCommandFailure(std::string("nbdkit's plugin ") + PluginFile +
                          " is neither beside this command nor installed with it");
}

/// What the plugin is told of the disk.
std::vector<std::string> DiskParameters(const CServeOptions& options) {
    std::vector<std::string> parameters = {
        "file=" + ChosenFile(options.disk.file, options.chain.disk).string()};
    if (options.chain.otherPaths) {
        parameters.emplace_back("other-paths=true");
    }
    if (options.chain.acceptChangedParent) {
        parameters.emplace_back("accept-changed-parent=true");
    }
    if (options.disk.log == NVHDXDisk::ELog::asItStands) {
        parameters.emplace_back("replay=false");
    }
    return parameters;
}

std::vector<std::string> NbdkitCommand(const CServeOptions& options) {
    const std::vector<std::string> disk = DiskParameters(options);
    std::vector<std::string> command = {"nbdkit", "--foreground", "--readonly"};
    if (options.socket.empty()) {
        command.emplace_back("--ip-addr=localhost");
    } else {
        command.push_back("--unix=" + options.socket);
    }
    command.push_back(FindPlugin().string());
    command.insert(command.end(), disk.begin(), disk.end());
    return command;
}

/// nbdkit takes this command's place, so that Ctrl-C and its exit status are its own.
void RunServe(const CServeOptions& options) {
    std::vector<std::string> command = NbdkitCommand(options);
    if (!options.socket.empty()) {
        MakeRoomForSocket(options.socket);
    }
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& argument : command) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    throw CCommandFailure(
        "nbdkit", errno == ENOENT ? "is not installed" : std::generic_category().message(errno));
}

#endif

}  // namespace

void AddServe(CProgramSyntax& program, CChosenCommand& chosen) {
    const auto options = std::make_shared<CServeOptions>();
    CCommandSyntax command = program.AddCommand(
        "serve", "Serves a disk, with all its parents, as a network block device (nbdkit)");
    command.AddPlaced("SOURCE", options->disk.file,
                      "A disk file (.vhdx or .avhdx), or a folder together with --disk");
    AddChainArguments(command, options->chain);
    AddNoReplayArgument(command, options->disk.log,
                        "Serve the files as they stand, without the entries of their logs that are "
                        "pending");
    command.AddText("--socket", "PATH", options->socket,
                    "Listen on this Unix socket instead of TCP port 10809 of this machine; one on "
                    "which nobody listens any more is replaced");
    command.SetFooter(
        "Read-only; runs until Ctrl-C. The disk must not be in use meanwhile.\n"
        "Example: vhdx serve disk.avhdx --socket disk.sock");
    Choose(command, chosen, options, RunServe);
}

}  // namespace NTool
