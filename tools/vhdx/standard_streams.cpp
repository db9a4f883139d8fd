#include "tools/vhdx/standard_streams.h"

#if !defined(_WIN32)
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#endif

namespace NTool {

#if defined(_WIN32)

void ReserveStandardStreams() {}

#else

namespace {

/// The lowest free descriptor is this one, when it is free.
void Reserve(int descriptor, int mode) {
    const bool isClosed = fcntl(descriptor, F_GETFD) < 0 && errno == EBADF;
    if (isClosed && open("/dev/null", mode) < 0) {
        // Any folder can be neither read nor written.
        (void)open("/", O_RDONLY);
    }
}

}  // namespace

void ReserveStandardStreams() {
    Reserve(STDIN_FILENO, O_WRONLY);
    Reserve(STDOUT_FILENO, O_RDONLY);
    Reserve(STDERR_FILENO, O_WRONLY);
}

#endif

}  // namespace NTool
