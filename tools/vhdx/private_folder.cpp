#include "tools/vhdx/private_folder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/socket_address.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

namespace fs = std::filesystem;

/// After `su` or `sudo` the variable may still name the folder of another user.
bool IsOwnAlone(const fs::path& folder) {
    struct stat found = {};
    return folder.is_absolute() && lstat(folder.c_str(), &found) == 0 && S_ISDIR(found.st_mode) &&
           found.st_uid == geteuid() && (found.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

/// The new folder; empty, with `errno` set, when there can be none.
fs::path MakeIn(const fs::path& folder) {
    std::string name = (folder / "vhdx-XXXXXX").string();
    return mkdtemp(name.data()) != nullptr ? fs::path(name) : fs::path();
}

fs::path MakeForSession() {
    const char* const session = std::getenv("XDG_RUNTIME_DIR");
    const bool isFit = session != nullptr && IsOwnAlone(session) &&
                       FitsSocket((fs::path(session) / "vhdx-XXXXXX/socket").string());
    return isFit ? MakeIn(session) : fs::path();
}

}  // namespace

CPrivateFolder::CPrivateFolder() : m_path(MakeForSession()) {
    if (!m_path.empty()) {
        return;
    }
    std::error_code error;
    const fs::path temporary = fs::temp_directory_path(error);
    m_path = error ? fs::path() : MakeIn(temporary);
    if (m_path.empty()) {
        error = error ? error : std::error_code(errno, std::generic_category());
        throw CCommandFailure("no folder can be made for the socket in \"" +
                              Printable(temporary.string()) + "\": " + error.message());
    }
}

CPrivateFolder::~CPrivateFolder() {
    (void)rmdir(m_path.c_str());
}

}  // namespace NTool
