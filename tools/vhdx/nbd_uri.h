#ifndef VHDX_TOOLS_VHDX_NBD_URI_H
#define VHDX_TOOLS_VHDX_NBD_URI_H

#include <cstdint>
#include <string>

namespace NTool {

/// How NBD clients name the server on a Unix socket. What the path may hold and a URI may not is
/// percent-escaped, every byte of it that is no plain character.
[[nodiscard]] std::string UriOfSocket(const std::string& path);

/// The same of a port of this machine.
[[nodiscard]] std::string UriOfPort(std::uint32_t port);

}  // namespace NTool

#endif
