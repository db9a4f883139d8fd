#include "vhdx_parser/foundation/folder_reader.h"

#include <new>
#include <string_view>

#include <windows.h>

#include "vhdx_parser/foundation/listed_item.h"

// Why not the standard library's iterator: that of MinGW makes each item's path in a function that
// lets no exception out, and so ends the process when memory runs out.

namespace NFolder {
namespace {

struct CCloseSearch {
    using pointer = HANDLE;
    void operator()(HANDLE search) const { FindClose(search); }
};

bool IsOfTheFolderItself(std::wstring_view name) {
    return name == L"." || name == L"..";
}

/// Whether a call found no further item, and nothing else went wrong.
bool IsEnd(DWORD error) {
    if (error == ERROR_NOT_ENOUGH_MEMORY || error == ERROR_OUTOFMEMORY) {
        throw std::bad_alloc();
    }
    return error == ERROR_NO_MORE_FILES || error == ERROR_FILE_NOT_FOUND;
}

}  // namespace

struct CFolderReader::CState {
    std::filesystem::path everything;              ///< the pattern of all items
    std::unique_ptr<HANDLE, CCloseSearch> search;  ///< null before the first item
    WIN32_FIND_DATAW item = {};
    bool hasFailed = false;

    /// False at the end and after a failure.
    bool Read() {
        const DWORD error = search == nullptr ? ReadFirst() : ReadNext();
        hasFailed = error != ERROR_SUCCESS && !IsEnd(error);
        return error == ERROR_SUCCESS;
    }

    DWORD ReadFirst() {
        const HANDLE opened = FindFirstFileW(everything.c_str(), &item);
        if (opened == INVALID_HANDLE_VALUE) {
            return GetLastError();
        }
        search.reset(opened);
        return ERROR_SUCCESS;
    }

    DWORD ReadNext() {
        return FindNextFileW(search.get(), &item) != 0 ? ERROR_SUCCESS : GetLastError();
    }
};

CFolderReader::CFolderReader(const std::filesystem::path& folder)
    : m_state(std::make_unique<CState>()) {
    m_state->everything = folder / L"*";
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

std::wstring CFolderReader::Name() const {
    return m_state->item.cFileName;
}

NSystem::CFileAttributes CFolderReader::Attributes() const {
    return AttributesOf(m_state->item);
}

}  // namespace NFolder
