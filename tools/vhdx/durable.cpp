#include "tools/vhdx/durable.h"

#include <cerrno>

#if defined(_WIN32)
#include <io.h>
#include <windows.h>

#include <vhdx_disk/path_query.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace NTool {

#if defined(_WIN32)

int MakeDurable(int file) {
    // The runtime's own function does not tell why it failed.
    if (FlushFileBuffers(reinterpret_cast<HANDLE>(_get_osfhandle(file))) != 0) {
        return 0;
    }
    const DWORD error = GetLastError();
    const bool isNoFile = error == ERROR_INVALID_HANDLE || error == ERROR_INVALID_FUNCTION;
    return isNoFile ? 0 : NVHDXDisk::ErrorNumber(error);
}

/// Windows keeps no folder waiting: the calls that change names write them through.
int MakeNameDurable(const std::filesystem::path&) {
    return 0;
}

#else

namespace {

int Synchronise(int file) {
    while (fsync(file) != 0) {
        if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

}  // namespace

int MakeDurable(int file) {
    const int error = Synchronise(file);
    return error == EINVAL || error == ENOTSUP ? 0 : error;
}

int MakeNameDurable(const std::filesystem::path& file) {
    const std::filesystem::path folder = file.has_parent_path() ? file.parent_path() : ".";
    const int opened = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (opened < 0 && errno == EACCES) {
        // Names may be made in a folder that may not be read, and all of the system is one way to
        // have them written down.
        sync();
        return 0;
    }
    if (opened < 0) {
        return errno;
    }
    const int error = MakeDurable(opened);
    (void)close(opened);
    return error;
}

#endif

}  // namespace NTool
