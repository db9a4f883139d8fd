#include "tools/vhdx/socket_place.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/socket_address.h"

namespace NTool {

namespace {

namespace fs = std::filesystem;

/// The errno of a connection to the socket, 0 when somebody takes it. Does not wait for a server
/// that has many to wait for.
int TryToConnect(const std::string& name) {
    const sockaddr_un address = SocketAddress(name);
    const int client = socket(AF_UNIX, SOCK_STREAM, 0);
    int error = errno;
    if (client >= 0) {
        (void)fcntl(client, F_SETFL, O_NONBLOCK);
        const bool taken =
            connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        error = taken ? 0 : errno;
        (void)close(client);
    }
    return error;
}

void RemoveIfDeserted(const std::string& name) {
    const int error = TryToConnect(name);
    if (error == 0 || error == EAGAIN) {
        throw CCommandFailure(name, "somebody listens on this socket already");
    }
    if (error != ECONNREFUSED) {
        throw CCommandFailure(
            name, "this socket cannot be replaced: " + std::generic_category().message(error));
    }
    if (unlink(name.c_str()) != 0 && errno != ENOENT) {
        throw CCommandFailure(name, "this socket, on which nobody listens, cannot be removed: " +
                                        std::generic_category().message(errno));
    }
}

}  // namespace

void MakeRoomForSocket(const std::string& name) {
    (void)SocketAddress(name);
    std::error_code error;
    switch (fs::symlink_status(PathOf(name), error).type()) {
        case fs::file_type::not_found:
            return;
        case fs::file_type::socket:
            RemoveIfDeserted(name);
            return;
        case fs::file_type::none:
            throw CCommandFailure(name, error.message());
        default:
            throw CCommandFailure(name, "this is there already and is no socket");
    }
}

}  // namespace NTool
