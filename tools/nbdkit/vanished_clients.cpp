#include "tools/nbdkit/vanished_clients.h"

#include <dlfcn.h>

namespace NPlugin {

/// A plugin is not told which nbdkit it runs in, but sees what that one exports. No function is
/// documented as new in 1.34; this one is as new in 1.40. Releases in between are taken for the
/// older ones: they serve no worse than those.
bool OutlivesVanishedClients() {
    return dlsym(RTLD_DEFAULT, "nbdkit_parse_delay") != nullptr;
}

}  // namespace NPlugin
