#ifndef VHDX_TOOLS_VHDX_PRIVATE_FOLDER_H
#define VHDX_TOOLS_VHDX_PRIVATE_FOLDER_H

#include <filesystem>

namespace NTool {

/// A new folder that only its owner may enter, for a socket: under $XDG_RUNTIME_DIR where that is a
/// folder of the user's own alone, else in the folder for temporary files. Removed at the end,
/// unless something is left in it.
class CPrivateFolder {
public:
    /// Throws `CCommandFailure` when none can be made.
    CPrivateFolder();
    CPrivateFolder(const CPrivateFolder&) = delete;
    CPrivateFolder& operator=(const CPrivateFolder&) = delete;
    ~CPrivateFolder();

    [[nodiscard]] std::filesystem::path operator/(const char* name) const { return m_path / name; }

private:
    std::filesystem::path m_path;
};

}  // namespace NTool

#endif
