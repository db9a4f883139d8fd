#ifndef VHDX_TOOLS_NBDKIT_VANISHED_CLIENTS_H
#define VHDX_TOOLS_NBDKIT_VANISHED_CLIENTS_H

namespace NPlugin {

/// Whether the nbdkit that loaded the plugin is known to outlive clients that vanish while it works
/// on several requests of theirs at a time. nbdkit 1.32.5 does not, whatever the plugin: an
/// assertion of its own (`raw_send_socket`: `sock >= 0`) ends it for all clients. Its release notes
/// have the mending in 1.34.0.
[[nodiscard]] bool OutlivesVanishedClients();

}  // namespace NPlugin

#endif
