#include "vhdx_parser/foundation/folder_reader.h"

#include <cstdint>
#include <new>
#include <string_view>

#include <windows.h>

// Why not the standard library's iterator: that of MinGW makes each item's path in a function that
// lets no exception out, and so ends the process when memory runs out.

namespace NFolder {
namespace {

struct CCloseSearch {
    using pointer = HANDLE;
    void operator()(HANDLE search) const { FindClose(search); }
};

struct CCloseHandle {
    using pointer = HANDLE;
    void operator()(HANDLE file) const { CloseHandle(file); }
};

bool IsOfTheFolderItself(std::wstring_view name) {
    return name == L"." || name == L"..";
}

/// Whether the last call found no further item, and nothing else went wrong.
bool IsAtEnd() {
    const DWORD error = GetLastError();
    if (error == ERROR_NOT_ENOUGH_MEMORY || error == ERROR_OUTOFMEMORY) {
        throw std::bad_alloc();
    }
    return error == ERROR_NO_MORE_FILES || error == ERROR_FILE_NOT_FOUND;
}

bool IsFolder(DWORD attributes) {
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsLink(DWORD attributes) {
    return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

/// Asks the file itself, or what a link leads to: a folder knows the size that a file had when
/// somebody closed it last.
NSystem::CFileAttributes Look(const std::filesystem::path& path) {
    const HANDLE opened = CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (opened == INVALID_HANDLE_VALUE) {
        return {};
    }
    const std::unique_ptr<HANDLE, CCloseHandle> file(opened);
    BY_HANDLE_FILE_INFORMATION information = {};
    if (GetFileInformationByHandle(file.get(), &information) == 0) {
        return {};
    }
    NSystem::CFileAttributes attributes;
    attributes.isFolder = IsFolder(information.dwFileAttributes);
    if (!attributes.isFolder) {
        attributes.size = std::uint64_t{information.nFileSizeHigh} << 32 | information.nFileSizeLow;
    }
    return attributes;
}

}  // namespace

struct CFolderReader::CState {
    std::filesystem::path folder;
    std::unique_ptr<HANDLE, CCloseSearch> search;  ///< null before the first item
    WIN32_FIND_DATAW item = {};
    bool hasFailed = false;

    /// False at the end and after a failure.
    bool Read() {
        const bool found =
            search == nullptr ? ReadFirst() : FindNextFileW(search.get(), &item) != 0;
        hasFailed = !found && !IsAtEnd();
        return found;
    }

    bool ReadFirst() {
        const HANDLE opened = FindFirstFileW((folder / L"*").c_str(), &item);
        if (opened == INVALID_HANDLE_VALUE) {
            return false;
        }
        search.reset(opened);
        return true;
    }
};

CFolderReader::CFolderReader(const std::filesystem::path& folder)
    : m_state(std::make_unique<CState>()) {
    m_state->folder = folder;
    m_state->hasFailed = folder.empty();
}

CFolderReader::~CFolderReader() = default;

bool CFolderReader::Next() {
    if (m_state->hasFailed) {
        return false;
    }
    bool found = false;
    do {
        found = m_state->Read();
    } while (found && IsOfTheFolderItself(m_state->item.cFileName));
    return found;
}

bool CFolderReader::HasFailed() const {
    return m_state->hasFailed;
}

std::filesystem::path CFolderReader::Name() const {
    return m_state->item.cFileName;
}

NSystem::CFileAttributes CFolderReader::Attributes() const {
    const DWORD listed = m_state->item.dwFileAttributes;
    if (IsFolder(listed) && !IsLink(listed)) {
        NSystem::CFileAttributes folder;
        folder.isFolder = true;
        return folder;
    }
    return Look(m_state->folder / m_state->item.cFileName);
}

}  // namespace NFolder
