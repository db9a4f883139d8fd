#include "vhdx_disk/source/folder_items.h"

#include <cerrno>
#include <string>

#if defined(_WIN32)
#include <windows.h>
#endif

#include <vhdx_disk/path_query.h>
#include <vhdx_parser/file_system.h>

#include "vhdx_disk/source/fail.h"

namespace NVHDXDisk {

namespace {

void ForgetError() {
#if defined(_WIN32)
    SetLastError(ERROR_SUCCESS);
#else
    errno = 0;
#endif
}

int LastError() {
#if defined(_WIN32)
    const DWORD error = GetLastError();
    return error == ERROR_SUCCESS ? 0 : ErrorNumber(error);
#else
    return errno;
#endif
}

}  // namespace

/// The library's walk says only that it failed; the system's last word is why, because all items
/// are read before the first one is told of.
bool ForEachItem(const std::filesystem::path& folder, const CItemCallback& callback,
                 CFailure& failure) {
    ForgetError();
    const bool isWhole = NSystem::for_each_item_in_folder(
        folder.native(), nullptr,
        [&callback](bool&, bool isFolder, CPlatformName& name, const NSystem::CFileAttributes&) {
            callback(isFolder, name);
            return true;
        });
    if (isWhole) {
        return true;
    }
    const int error = LastError();
    return Fail(failure, CFailure::cannotBeRead, folder,
                WithMessage("the folder cannot be read", error), error);
}

}  // namespace NVHDXDisk
