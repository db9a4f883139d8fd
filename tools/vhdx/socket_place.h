#ifndef VHDX_TOOLS_VHDX_SOCKET_PLACE_H
#define VHDX_TOOLS_VHDX_SOCKET_PLACE_H

#include <string>

namespace NTool {

/// Makes room for a Unix socket of this name: one that a server left behind when it was killed is
/// removed. Throws `CCommandFailure` when somebody listens there, and when something else has the
/// name, which stays as it is.
void MakeRoomForSocket(const std::string& name);

}  // namespace NTool

#endif
