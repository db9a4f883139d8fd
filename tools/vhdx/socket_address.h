#ifndef VHDX_TOOLS_VHDX_SOCKET_ADDRESS_H
#define VHDX_TOOLS_VHDX_SOCKET_ADDRESS_H

#include <string>

#include <sys/un.h>

namespace NTool {

/// Whether a Unix socket can have this path: the system takes some hundred bytes.
[[nodiscard]] bool FitsSocket(const std::string& path);

/// The address of a Unix socket. Throws `CCommandFailure` when the path is too long for one.
[[nodiscard]] sockaddr_un SocketAddress(const std::string& path);

}  // namespace NTool

#endif
