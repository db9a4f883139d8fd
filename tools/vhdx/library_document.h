#ifndef VHDX_PARSER_TOOLS_VHDX_LIBRARY_DOCUMENT_H
#define VHDX_PARSER_TOOLS_VHDX_LIBRARY_DOCUMENT_H

/// XML files that the library reads and writes by their names.

#include <filesystem>
#include <string>

namespace NTool {

/// The name under which the library finds a file. It takes the name through the C locale and cuts
/// what does not fit, so that only ASCII arrives; any other file is opened here and named by its
/// descriptor. Throws `CCommandFailure` when it cannot be opened.
class CLibraryName {
public:
    CLibraryName(const std::filesystem::path& path, bool write);
    CLibraryName(const CLibraryName&) = delete;
    CLibraryName& operator=(const CLibraryName&) = delete;
    ~CLibraryName();

    const std::wstring& Text() const { return m_name; }

private:
    void Open(const std::filesystem::path& path, bool write);

    int m_descriptor = -1;
    std::wstring m_name;
};

/// The text of an XML error, "NAME(LINE): MESSAGE" or "NAME: MESSAGE", without the name; any other
/// text as it is.
std::string WithoutName(const std::string& text, const std::wstring& name);

}  // namespace NTool

#endif
