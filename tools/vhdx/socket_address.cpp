#include "tools/vhdx/socket_address.h"

#include <sys/socket.h>

#include "tools/vhdx/command_failure.h"

namespace NTool {

bool FitsSocket(const std::string& path) {
    return path.size() < sizeof sockaddr_un::sun_path;
}

sockaddr_un SocketAddress(const std::string& path) {
    if (!FitsSocket(path)) {
        throw CCommandFailure(path,
                              "the path is too long for a socket; give it relative to the folder");
    }
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, path.size());
    return address;
}

}  // namespace NTool
