#include "tools/vhdx/permissions.h"

#if !defined(_WIN32)
#include <sys/stat.h>
#endif

namespace NTool {

namespace fs = std::filesystem;

#if defined(_WIN32)

void TakePermissionsOf(const fs::path&, int) {}
void TakePermissionsAllowedBy(const std::vector<fs::path>&, int) {}

#else

namespace {

constexpr mode_t ofOwner = 0600;

/// The permissions that the system takes from every new file.
mode_t Withheld() {
    const mode_t mask = umask(077);
    (void)umask(mask);
    return mask;
}

mode_t ModeOf(const fs::path& file) {
    struct stat status = {};
    return stat(file.c_str(), &status) == 0 ? status.st_mode : ofOwner;
}

}  // namespace

// Some file systems have one set of permissions for all files, and refuse any other.

void TakePermissionsOf(const fs::path& older, int file) {
    (void)fchmod(file, ModeOf(older) & 07777);
}

void TakePermissionsAllowedBy(const std::vector<fs::path>& sources, int file) {
    mode_t mode = 0666 & ~Withheld();
    for (const fs::path& source : sources) {
        mode &= ModeOf(source);
    }
    (void)fchmod(file, mode);
}

#endif

}  // namespace NTool
