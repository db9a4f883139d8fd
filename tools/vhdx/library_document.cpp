#include "tools/vhdx/library_document.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <fmt/format.h>

#if !defined(_WIN32)
#include <fcntl.h>
#include <unistd.h>
#endif

#include "tools/vhdx/command_failure.h"

namespace NTool {

namespace {

namespace fs = std::filesystem;

bool IsAscii(const fs::path::string_type& text) {
    return std::all_of(text.begin(), text.end(),
                       [](auto character) { return character > 0 && character < 0x80; });
}

}  // namespace

CLibraryName::CLibraryName(const fs::path& path, bool write) {
    if (IsAscii(path.native())) {
        m_name.assign(path.native().begin(), path.native().end());
        return;
    }
    Open(path, write);
}

#if defined(_WIN32)

CLibraryName::~CLibraryName() = default;

void CLibraryName::Open(const fs::path&, bool) {
    throw CCommandFailure("the name of a saved model can have ASCII characters only");
}

#else

CLibraryName::~CLibraryName() {
    if (m_descriptor >= 0) {
        (void)close(m_descriptor);
    }
}

void CLibraryName::Open(const fs::path& path, bool write) {
    errno = 0;
    m_descriptor = open(path.c_str(), (write ? O_WRONLY : O_RDONLY) | O_CLOEXEC);
    if (m_descriptor < 0) {
        throw CCommandFailure(std::generic_category().message(errno));
    }
    const std::string name = fmt::format("/dev/fd/{}", m_descriptor);
    m_name.assign(name.begin(), name.end());
}

#endif

std::string WithoutName(const std::string& text, const std::wstring& name) {
    const bool named = text.size() > name.size() &&
                       std::equal(name.begin(), name.end(), text.begin(),
                                  [](wchar_t a, char b) { return a == static_cast<wchar_t>(b); });
    const std::string rest = named ? text.substr(name.size()) : text;
    const std::size_t end = rest.find("): ");
    if (named && rest.starts_with("(") && end != rest.npos) {
        return fmt::format("line {}: {}", rest.substr(1, end - 1), rest.substr(end + 3));
    }
    return named && rest.starts_with(": ") ? rest.substr(2) : rest;
}

}  // namespace NTool
