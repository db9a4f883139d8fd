#ifndef VHDX_PARSER_TESTS_SUPPORT_TEMPORARY_FOLDER_H
#define VHDX_PARSER_TESTS_SUPPORT_TEMPORARY_FOLDER_H

/// A folder for the files of one test.

#include <filesystem>
#include <string>

namespace NTest {

/// Creates a new empty folder and removes it with everything in it at the end.
class CTemporaryFolder {
public:
    CTemporaryFolder();
    ~CTemporaryFolder();
    CTemporaryFolder(const CTemporaryFolder&) = delete;
    CTemporaryFolder& operator=(const CTemporaryFolder&) = delete;

    const std::filesystem::path& Path() const { return m_path; }
    std::string Narrow() const { return m_path.string(); }
    std::wstring Wide() const { return m_path.wstring(); }

    std::filesystem::path operator/(const std::filesystem::path& name) const {
        return m_path / name;
    }

private:
    std::filesystem::path m_path;
};

}  // namespace NTest

#endif
