#include "vhdx_parser/foundation/folder_reader.h"

#include <cerrno>
#include <new>
#include <string_view>

#include <dirent.h>
#include <sys/stat.h>

// Why not the standard library's iterator: libstdc++'s makes each item's path in a function that
// lets no exception out, and so ends the process when memory runs out.

namespace NFolder {
namespace {

struct CCloseFolder {
    void operator()(DIR* folder) const { closedir(folder); }
};

bool IsOfTheFolderItself(std::string_view name) {
    return name == "." || name == "..";
}

void RaiseWhenMemoryRanOut(int error) {
    if (error == ENOMEM) {
        throw std::bad_alloc();
    }
}

/// What the folder itself knows: a folder is one even where it may not be looked at.
bool IsListedAsFolder(const dirent& item) {
#if defined(DT_DIR)
    return item.d_type == DT_DIR;
#else
    (void)item;
    return false;
#endif
}

}  // namespace

struct CFolderReader::CState {
    std::unique_ptr<DIR, CCloseFolder> folder;
    const dirent* item = nullptr;
    bool hasFailed = false;

    void Read() {
        errno = 0;
        item = readdir(folder.get());
        const int error = item == nullptr ? errno : 0;
        RaiseWhenMemoryRanOut(error);
        hasFailed = error != 0;
    }
};

CFolderReader::CFolderReader(const std::filesystem::path& folder)
    : m_state(std::make_unique<CState>()) {
    errno = 0;
    DIR* const opened = opendir(folder.c_str());
    const int error = errno;
    m_state->folder.reset(opened);
    if (opened == nullptr) {
        RaiseWhenMemoryRanOut(error);
        m_state->hasFailed = true;
    }
}

CFolderReader::~CFolderReader() = default;

bool CFolderReader::Next() {
    if (m_state->hasFailed) {
        return false;
    }
    do {
        m_state->Read();
    } while (m_state->item != nullptr && IsOfTheFolderItself(m_state->item->d_name));
    return m_state->item != nullptr;
}

bool CFolderReader::HasFailed() const {
    return m_state->hasFailed;
}

std::string CFolderReader::Name() const {
    return m_state->item->d_name;
}

NSystem::CFileAttributes CFolderReader::Attributes() const {
    NSystem::CFileAttributes attributes;
    attributes.isFolder = IsListedAsFolder(*m_state->item);
    struct stat status = {};
    if (!attributes.isFolder &&
        fstatat(dirfd(m_state->folder.get()), m_state->item->d_name, &status, 0) == 0) {
        attributes.isFolder = S_ISDIR(status.st_mode);
        attributes.size = S_ISREG(status.st_mode) ? static_cast<std::uint64_t>(status.st_size) : 0;
    }
    return attributes;
}

}  // namespace NFolder
