#ifndef VHDX_PARSER_TOOLS_VHDX_OUTPUT_FILE_H
#define VHDX_PARSER_TOOLS_VHDX_OUTPUT_FILE_H

#include <filesystem>
#include <memory>
#include <string>

#include "tools/vhdx/durable.h"
#include "tools/vhdx/interruption.h"
#include "tools/vhdx/output.h"

namespace NTool {

/// A result file that is there complete or not at all: it is written beside its place under another
/// name and takes its place in `Commit`; until then an older file of that name stays as it is, and
/// without `Commit` or when the program is interrupted nothing is left behind. That holds for a
/// power cut too, and what was committed outlasts one, unless that is unneeded. A device or pipe is
/// written directly.
class COutputFile {
public:
    enum EReplace { mayReplace, mustBeNew };

    /// Refuses to write over `source`, the file that the result is made from.
    COutputFile(const std::string& path, const std::string& source, ESync sync,
                EReplace replace = mayReplace);
    COutputFile(const COutputFile&) = delete;
    COutputFile& operator=(const COutputFile&) = delete;
    ~COutputFile();

    COutput& Output() { return *m_output; }

    /// What is being written, for those who write it by its name: the other name, or the place.
    const std::filesystem::path& WrittenPath() const {
        return m_temporary.empty() ? m_path : m_temporary;
    }

    /// Everything was written: makes the result visible. Throws `CCommandFailure` when that fails;
    /// then the result is not there, unless the reason says so.
    void Commit();

private:
    void CreateBeside();
    void OpenDirectly();
    void MakeBytesDurable();
    void TakePlace();
    void MakePlaceDurable() const;
    [[noreturn]] void FailExisting() const;

    std::string m_name;
    ESync m_sync;
    EReplace m_replace;
    std::filesystem::path m_path;
    std::filesystem::path m_temporary;  // empty when the place itself is written
    std::unique_ptr<CRemovedWhenInterrupted> m_guard;
    std::FILE* m_file = nullptr;
    std::unique_ptr<COutput> m_output;
};

/// Throws when the output would be written over this file, which is read.
void CheckNotRead(const std::string& output, const std::filesystem::path& source);

}  // namespace NTool

#endif
