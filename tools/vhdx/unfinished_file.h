#ifndef VHDX_TOOLS_VHDX_UNFINISHED_FILE_H
#define VHDX_TOOLS_VHDX_UNFINISHED_FILE_H

#include <filesystem>
#include <memory>

#include "tools/vhdx/interruption.h"

namespace NTool {

/// A file that is being written, in the folder of its place: without a name where the system has
/// such files, else under a random one. Its owner alone may read it. It is gone at the end unless
/// it took its place, also when the program is interrupted; without a name even when it is killed.
/// Results are 0 or a value of `errno`.
class CUnfinishedFile {
public:
    explicit CUnfinishedFile(std::filesystem::path place);
    CUnfinishedFile(const CUnfinishedFile&) = delete;
    CUnfinishedFile& operator=(const CUnfinishedFile&) = delete;
    ~CUnfinishedFile();

    /// Why there is none.
    int Error() const { return m_error; }

    /// For reading and writing. To be used before it takes its place.
    int Descriptor() const { return m_file; }
    /// The same for those who open it by a name.
    std::filesystem::path Path() const;

    /// `EEXIST` when something is there; also what came up this moment, where the system tells.
    [[nodiscard]] int TakeFreePlace();
    /// An older file may be there.
    [[nodiscard]] int TakePlace();

private:
    bool OpenWithoutName();
    int OpenWithName();
    std::filesystem::path RandomName() const;
    int GiveName(const std::filesystem::path& name) const;
    int ReplaceOlder();
    int Close();
    int Finished(int error);

    std::filesystem::path m_place;
    std::filesystem::path m_name;  // empty when it has none
    std::unique_ptr<CRemovedWhenInterrupted> m_guard;
    int m_file = -1;
    int m_error = 0;
};

}  // namespace NTool

#endif
