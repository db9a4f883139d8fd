#ifndef VHDX_PARSER_TOOLS_VHDX_OUTPUT_FILE_H
#define VHDX_PARSER_TOOLS_VHDX_OUTPUT_FILE_H

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tools/vhdx/durable.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/unfinished_file.h"

namespace NTool {

/// A result file that is there complete or not at all: it takes its place in `Commit`; until then
/// an older file of that name stays as it is, and without `Commit` or when the program is
/// interrupted nothing is left behind. That holds for a power cut too, and what was committed
/// outlasts one, unless that is unneeded. Nobody may read it who may not read what it is made from,
/// unless he might read the older file. A device or pipe is written directly.
class COutputFile {
public:
    enum EReplace { mayReplace, mustBeNew };

    /// Refuses to write over `sources`, the files that the result is made from.
    COutputFile(const std::string& path, std::vector<std::filesystem::path> sources, ESync sync,
                EReplace replace = mayReplace);
    COutputFile(const COutputFile&) = delete;
    COutputFile& operator=(const COutputFile&) = delete;
    ~COutputFile();

    COutput& Output() { return *m_output; }

    /// What is being written, for those who write it by its descriptor or its name. Not of a
    /// device.
    int Descriptor() const { return m_unfinished->Descriptor(); }
    std::filesystem::path WrittenPath() const { return m_unfinished->Path(); }

    /// Everything was written: makes the result visible. Throws `CCommandFailure` when that fails;
    /// then the result is not there, unless the reason says so.
    void Commit();

private:
    void CreateBeside();
    void OpenDirectly();
    void OpenOutput(int file, bool sparse);
    void SetPermissions() const;
    void MakeBytesDurable() const;
    void CloseOutput();
    void TakePlace();
    void MakePlaceDurable() const;
    [[noreturn]] void FailExisting() const;
    [[noreturn]] void Fail(int error) const;

    std::string m_name;
    std::vector<std::filesystem::path> m_sources;
    ESync m_sync;
    EReplace m_replace;
    std::filesystem::path m_path;
    std::unique_ptr<CUnfinishedFile> m_unfinished;  // none when the place itself is written
    std::FILE* m_file = nullptr;
    std::unique_ptr<COutput> m_output;
};

/// Throws when the output would be written over this file, which is read.
void CheckNotRead(const std::string& output, const std::filesystem::path& source);

}  // namespace NTool

#endif
