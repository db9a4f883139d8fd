#include "tools/vhdx/windows_file.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cerrno>
#include <cstdint>

#include <vhdx_disk/path_query.h>

namespace NTool {

namespace {

DWORD AccessOf(EOpening opening) {
    switch (opening) {
        case EOpening::toRead:
            return GENERIC_READ;
        case EOpening::toReadAndWrite:
        case EOpening::toReadAndWriteNew:
            return GENERIC_READ | GENERIC_WRITE;
        default:
            return GENERIC_WRITE;
    }
}

DWORD CreationOf(EOpening opening) {
    switch (opening) {
        case EOpening::toWrite:
            return CREATE_ALWAYS;
        case EOpening::toReadAndWriteNew:
            return CREATE_NEW;
        default:
            return OPEN_EXISTING;
    }
}

int LastError() {
    return NVHDXDisk::ErrorNumber(GetLastError());
}

}  // namespace

int OpenRemovable(const std::filesystem::path& path, EOpening opening) {
    const HANDLE handle = CreateFileW(path.c_str(), AccessOf(opening),
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, CreationOf(opening), FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        errno = LastError();
        return -1;
    }
    const int reading = opening == EOpening::toRead ? _O_RDONLY : 0;
    const int file = _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), reading | _O_BINARY);
    if (file < 0) {
        CloseHandle(handle);
    }
    return file;
}

int SetFileSize(int file, std::uint64_t size) {
    FILE_END_OF_FILE_INFO end{};
    end.EndOfFile.QuadPart = static_cast<LONGLONG>(size);
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(file));
    return SetFileInformationByHandle(handle, FileEndOfFileInfo, &end, sizeof(end)) != 0
               ? 0
               : LastError();
}

}  // namespace NTool
