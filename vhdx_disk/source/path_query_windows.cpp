#include <vhdx_disk/path_query.h>

#include <cerrno>
#include <memory>
#include <string>

#include <windows.h>

namespace NVHDXDisk {

namespace fs = std::filesystem;

namespace {

struct CCloseHandle {
    using pointer = HANDLE;
    void operator()(HANDLE file) const { CloseHandle(file); }
};
using CHandle = std::unique_ptr<HANDLE, CCloseHandle>;

/// Opens it for questions alone, a folder too. Null, with `error` set, when that fails.
CHandle OpenToAsk(const fs::path& path, DWORD flags, DWORD& error) {
    const HANDLE file = CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | flags, nullptr);
    error = file == INVALID_HANDLE_VALUE ? GetLastError() : ERROR_SUCCESS;
    return CHandle(file == INVALID_HANDLE_VALUE ? nullptr : file);
}

bool SaysThatNothingIsThere(DWORD error) {
    switch (error) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
        case ERROR_INVALID_NAME:
        case ERROR_BAD_PATHNAME:
        case ERROR_INVALID_DRIVE:
        case ERROR_BAD_NETPATH:
        case ERROR_BAD_NET_NAME:
            return true;
        default:
            return false;
    }
}

fs::file_type KindOf(DWORD attributes) {
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? fs::file_type::directory
                                                        : fs::file_type::regular;
}

fs::file_type KindOf(const CHandle& file) {
    BY_HANDLE_FILE_INFORMATION information = {};
    if (GetFileType(file.get()) == FILE_TYPE_DISK &&
        GetFileInformationByHandle(file.get(), &information) != 0) {
        return KindOf(information.dwFileAttributes);
    }
    return fs::file_type::unknown;
}

/// The folder tells it even of a file that may not be opened.
fs::file_type KindWithoutOpening(const fs::path& path, DWORD whyNotOpened, std::error_code& error) {
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    if (GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) != 0) {
        return KindOf(data.dwFileAttributes);
    }
    error.assign(ErrorNumber(whyNotOpened), std::generic_category());
    return fs::file_type::none;
}

fs::file_type Ask(const fs::path& path, DWORD flags, std::error_code& error) {
    error.clear();
    DWORD whyNotOpened = ERROR_SUCCESS;
    if (const CHandle file = OpenToAsk(path, flags, whyNotOpened)) {
        return KindOf(file);
    }
    return SaysThatNothingIsThere(whyNotOpened) ? fs::file_type::not_found
                                                : KindWithoutOpening(path, whyNotOpened, error);
}

/// Empty when the file has no name of this kind.
std::wstring FinalName(const CHandle& file, DWORD kind) {
    std::wstring name(GetFinalPathNameByHandleW(file.get(), nullptr, 0, kind), L'\0');
    const DWORD length =
        GetFinalPathNameByHandleW(file.get(), name.data(), static_cast<DWORD>(name.size()), kind);
    name.resize(length < name.size() ? length : 0);
    return name;
}

}  // namespace

int ErrorNumber(unsigned long windowsError) {
    const std::error_code error(static_cast<int>(windowsError), std::system_category());
    const std::error_condition condition = error.default_error_condition();
    return condition.category() == std::generic_category() ? condition.value() : EIO;
}

fs::file_type KindOf(const fs::path& path, std::error_code& error) {
    return Ask(path, 0, error);
}

fs::file_type KindOfLink(const fs::path& path, std::error_code& error) {
    DWORD ignored = ERROR_SUCCESS;
    const CHandle file = OpenToAsk(path, FILE_FLAG_OPEN_REPARSE_POINT, ignored);
    BY_HANDLE_FILE_INFORMATION information = {};
    const bool isLink = file && GetFileInformationByHandle(file.get(), &information) != 0 &&
                        (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    return isLink ? fs::file_type::symlink : Ask(path, FILE_FLAG_OPEN_REPARSE_POINT, error);
}

std::optional<CFileState> StateOf(const fs::path& path, std::error_code& error) {
    error.clear();
    DWORD whyNotOpened = ERROR_SUCCESS;
    const CHandle file = OpenToAsk(path, 0, whyNotOpened);
    BY_HANDLE_FILE_INFORMATION information = {};
    if (!file && !SaysThatNothingIsThere(whyNotOpened)) {
        error.assign(ErrorNumber(whyNotOpened), std::generic_category());
    }
    if (!file || KindOf(file) != fs::file_type::regular ||
        GetFileInformationByHandle(file.get(), &information) == 0) {
        return std::nullopt;
    }
    const FILETIME& time = information.ftLastWriteTime;
    return CFileState{
        std::uint64_t{information.nFileSizeHigh} << 32 | information.nFileSizeLow,
        static_cast<std::int64_t>(std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime)};
}

fs::path Canonical(const fs::path& path) {
    DWORD error = ERROR_SUCCESS;
    const CHandle file = OpenToAsk(path, 0, error);
    if (!file) {
        return path;
    }
    if (std::wstring name = FinalName(file, VOLUME_NAME_DOS); !name.empty()) {
        return name;
    }
    // A snapshot has no drive letter.
    const std::wstring name = FinalName(file, VOLUME_NAME_NT);
    return name.empty() ? path : fs::path(L"\\\\?\\GLOBALROOT" + name);
}

bool AreSameFile(const fs::path& one, const fs::path& other) {
    DWORD error = ERROR_SUCCESS;
    const CHandle first = OpenToAsk(one, 0, error);
    const CHandle second = OpenToAsk(other, 0, error);
    BY_HANDLE_FILE_INFORMATION a = {};
    BY_HANDLE_FILE_INFORMATION b = {};
    return first && second && GetFileInformationByHandle(first.get(), &a) != 0 &&
           GetFileInformationByHandle(second.get(), &b) != 0 &&
           a.dwVolumeSerialNumber == b.dwVolumeSerialNumber &&
           a.nFileIndexHigh == b.nFileIndexHigh && a.nFileIndexLow == b.nFileIndexLow;
}

}  // namespace NVHDXDisk
