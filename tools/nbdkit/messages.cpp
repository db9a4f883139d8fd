#include "tools/nbdkit/messages.h"

#include <cstdio>

#define NBDKIT_API_VERSION 2
#include <nbdkit-plugin.h>

namespace NPlugin {

int Refuse(int error, const std::string& reason) {
    nbdkit_error("%s", reason.c_str());
    nbdkit_set_error(error);
    return -1;
}

void Say(const std::string& text) {
    static_cast<void>(std::fprintf(stderr, "nbdkit: vhdx: %s\n", text.c_str()));
}

}  // namespace NPlugin
