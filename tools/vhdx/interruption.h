#ifndef VHDX_TOOLS_VHDX_INTERRUPTION_H
#define VHDX_TOOLS_VHDX_INTERRUPTION_H

#include <filesystem>

namespace NTool {

/// While it lives, an unfinished file is removed when Ctrl-C, a closed terminal or a request to
/// terminate ends the program. The program ends at once and by the signal itself, so that its
/// caller sees what happened: a shell shows 130 for Ctrl-C and 143 for SIGTERM. One at a time.
/// On Windows the signals are Ctrl-C, Ctrl-Break and the closing of the console, the status is
/// 0xC000013A, and the file has to be one that can be removed while it is open.
class CRemovedWhenInterrupted {
public:
    /// Interruptions wait until `Guard` or the end of this object, so that none can fall between
    /// the making of the file and its guarding.
    CRemovedWhenInterrupted();
    CRemovedWhenInterrupted(const CRemovedWhenInterrupted&) = delete;
    CRemovedWhenInterrupted& operator=(const CRemovedWhenInterrupted&) = delete;
    /// The file is complete or removed: it is left alone from now on.
    ~CRemovedWhenInterrupted();

    /// The file is there. Interruptions take place from now on.
    void Guard(const std::filesystem::path& file);

private:
    void LetThrough();

    bool m_holding = true;
    std::filesystem::path m_file;
};

}  // namespace NTool

#endif
