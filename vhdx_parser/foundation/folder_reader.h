#ifndef VHDX_PARSER_FOUNDATION_FOLDER_READER_H
#define VHDX_PARSER_FOUNDATION_FOLDER_READER_H

/// The items of a folder, one after the other, in the platform's order. One implementation for each
/// platform: folder_reader_posix.cpp and folder_reader_windows.cpp.

#include <filesystem>
#include <memory>

#include <vhdx_parser/file_system.h>

namespace NFolder {

/// Opens a folder and walks over its items once. When memory runs out `std::bad_alloc` passes out.
class CFolderReader {
public:
    explicit CFolderReader(const std::filesystem::path& folder);
    ~CFolderReader();
    CFolderReader(const CFolderReader&) = delete;
    CFolderReader& operator=(const CFolderReader&) = delete;

    /// Goes to the next item, at first to the first one. False behind the last one, and when the
    /// folder cannot be read.
    bool Next();

    /// Whether the folder could not be opened or not be read on.
    bool HasFailed() const;

    /// The item's name without its folder.
    std::filesystem::path::string_type Name() const;

    /// See `NSystem::CFileAttributes`. No item is opened for them.
    NSystem::CFileAttributes Attributes() const;

private:
    struct CState;
    std::unique_ptr<CState> m_state;
};

}  // namespace NFolder

#endif
