#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#if !defined(_WIN32)
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/listening_socket.h"
#include "tools/vhdx/nbd_uri.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/private_folder.h"
#include "tools/vhdx/server_process.h"
#include "tools/vhdx/socket_address.h"
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
    std::optional<std::uint32_t> port;
};

#if defined(_WIN32)

int RunServe(const CServeOptions&) {
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
    if (options.disk.live) {
        parameters.emplace_back("live=true");
    }
    return parameters;
}

std::vector<std::string> NbdkitCommand(const CServeOptions& options) {
    const std::vector<std::string> disk = DiskParameters(options);
    // Of one client it works on no more requests at a time than the plugin has readers.
    std::vector<std::string> command = {"nbdkit", "--foreground", "--readonly", "--threads=4"};
    if (options.port) {
        command.emplace_back("--ip-addr=localhost");
        command.push_back("--port=" + std::to_string(*options.port));
    }
    command.push_back(FindPlugin().string());
    command.insert(command.end(), disk.begin(), disk.end());
    return command;
}

/// What the server's user waits for: from here on clients are answered.
void PrintUri(const std::string& uri) {
    COutput output = COutput::Standard();
    output.Append(uri + "\n");
    output.Flush();
}

/// For clients in any folder, where a socket can be reached by such a path.
std::string ForClients(const std::string& socket) {
    const std::string path = fs::absolute(PathOf(socket)).string();
    return FitsSocket(path) ? path : socket;
}

int ServeOnSocket(const CSignalPipe& signals, const std::vector<std::string>& command,
                  const std::string& path) {
    CListeningSocket socket(path);
    CServerProcess server(signals, command, socket.Descriptor());
    socket.Close();
    return server.Run([&path] { PrintUri(UriOfSocket(ForClients(path))); });
}

int ServeOnPort(const CSignalPipe& signals, const std::vector<std::string>& command,
                std::uint32_t port) {
    CServerProcess server(signals, command, -1);
    return server.Run([port] { PrintUri(UriOfPort(port)); });
}

int RunServe(const CServeOptions& options) {
    const std::vector<std::string> command = NbdkitCommand(options);
    const CSignalPipe signals;
    if (options.port) {
        return ServeOnPort(signals, command, *options.port);
    }
    if (!options.socket.empty()) {
        MakeRoomForSocket(options.socket);
        return ServeOnSocket(signals, command, options.socket);
    }
    const CPrivateFolder folder;
    return ServeOnSocket(signals, command, (folder / "socket").string());
}

#endif

/// --socket and --port.
void AddPlaceArguments(CCommandSyntax& command, CServeOptions& options) {
    const CArgument socket = command.AddText(
        "--socket", "PATH", options.socket,
        "Listen on this Unix socket, which only its owner can use, instead of a new one; one on "
        "which nobody listens any more is replaced");
    command
        .AddNumber("--port", "N", 1, 65535, options.port,
                   "Listen on this TCP port of this machine (the protocol's own is 10809) instead "
                   "of a socket: every user of the machine can then read the disk")
        .Excludes(socket);
}

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
    command.AddFlag("--live", options->disk.live,
                    "Also answer new clients when the disk was written since the server was "
                    "started, instead of refusing them; they may see two states of it, and one "
                    "line says so");
    AddPlaceArguments(command, *options);
    command.SetFooter(
        "Without --socket and --port it makes a Unix socket that only its owner can use, in a new\n"
        "folder under $XDG_RUNTIME_DIR or for temporary files. When it is ready for clients, it\n"
        "prints the server's NBD URI on a line. Runs until Ctrl-C, and removes the socket.\n"
        "Read-only. The disk must not be in use meanwhile: once it was written, no new client is\n"
        "answered.\n"
        "Example: vhdx serve disk.avhdx --socket disk.sock");
    command.WhenChosen([&chosen, options] {
        chosen.subject = options->disk.file;
        chosen.run = [&chosen, options] { chosen.doneStatus = RunServe(*options); };
    });
}

}  // namespace NTool
