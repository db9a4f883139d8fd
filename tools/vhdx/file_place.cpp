#include "tools/vhdx/file_place.h"

#include <system_error>

#if defined(_WIN32)
#include <windows.h>

#include <vhdx_disk/path_query.h>
#endif

namespace NTool {

namespace fs = std::filesystem;

#if defined(_WIN32)

namespace {

int Move(const fs::path& file, const fs::path& place, DWORD flags) {
    return MoveFileExW(file.c_str(), place.c_str(), flags) != 0
               ? 0
               : NVHDXDisk::ErrorNumber(GetLastError());
}

}  // namespace

int MoveOver(const fs::path& file, const fs::path& place) {
    return Move(file, place, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
}

int MoveToFreePlace(const fs::path& file, const fs::path& place) {
    return Move(file, place, MOVEFILE_WRITE_THROUGH);
}

int Remove(const fs::path& file) noexcept {
    const DWORD error = DeleteFileW(file.c_str()) != 0 ? ERROR_SUCCESS : GetLastError();
    return error == ERROR_SUCCESS || error == ERROR_FILE_NOT_FOUND ? 0
                                                                   : NVHDXDisk::ErrorNumber(error);
}

#else

int MoveOver(const fs::path& file, const fs::path& place) {
    std::error_code error;
    fs::rename(file, place, error);
    return error.value();
}

int MoveToFreePlace(const fs::path& file, const fs::path& place) {
    // Unlike renaming, linking never replaces a file that came up meanwhile.
    std::error_code error;
    fs::create_hard_link(file, place, error);
    if (!error) {
        RemoveQuietly(file);
        return 0;
    }
    return error == std::errc::file_exists ? error.value() : MoveOver(file, place);
}

int Remove(const fs::path& file) noexcept {
    std::error_code error;
    fs::remove(file, error);
    return error.value();
}

#endif

void RemoveQuietly(const fs::path& file) noexcept {
    (void)Remove(file);
}

}  // namespace NTool
