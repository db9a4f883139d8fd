#include "vhdx_parser/foundation/folder_reader.h"

#include <optional>
#include <system_error>

namespace NFolder {

namespace fs = std::filesystem;

struct CFolderReader::CState {
    fs::path path;
    std::error_code error;
    std::optional<fs::directory_iterator> item;  ///< none before the first one
};

CFolderReader::CFolderReader(const fs::path& folder) : m_state(std::make_unique<CState>()) {
    m_state->path = folder;
}

CFolderReader::~CFolderReader() = default;

bool CFolderReader::Next() {
    if (m_state->item) {
        m_state->item->increment(m_state->error);
    } else {
        m_state->item.emplace(m_state->path, m_state->error);
    }
    return !m_state->error && *m_state->item != fs::directory_iterator();
}

bool CFolderReader::HasFailed() const {
    return bool(m_state->error);
}

fs::path CFolderReader::Name() const {
    return (*m_state->item)->path().filename();
}

NSystem::CFileAttributes CFolderReader::Attributes() const {
    const fs::directory_entry& entry = **m_state->item;
    std::error_code error;
    NSystem::CFileAttributes attributes;
    attributes.isFolder = entry.is_directory(error);
    if (entry.is_regular_file(error)) {
        const std::uintmax_t size = entry.file_size(error);
        attributes.size = error ? 0 : size;
    }
    return attributes;
}

}  // namespace NFolder
