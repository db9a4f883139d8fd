#include <windows.h>

#include <stdexcept>
#include <thread>

#include "tests/support/child_process.h"

namespace NTest {

namespace {

/// A Windows handle that is closed at the end.
class CHandle {
public:
    explicit CHandle(HANDLE handle = nullptr) : m_handle(handle) {}
    ~CHandle() { Close(); }
    CHandle(const CHandle&) = delete;
    CHandle& operator=(const CHandle&) = delete;

    HANDLE Get() const { return m_handle; }
    HANDLE* Address() { return &m_handle; }
    void Close() {
        if (m_handle != nullptr && m_handle != INVALID_HANDLE_VALUE) {
            CloseHandle(m_handle);
        }
        m_handle = nullptr;
    }

private:
    HANDLE m_handle;
};

/// A pipe whose writing end a child inherits.
struct CPipe {
    CPipe() {
        SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        if (CreatePipe(reader.Address(), writer.Address(), &inheritable, 0) == 0) {
            throw std::runtime_error("no pipe");
        }
        SetHandleInformation(reader.Get(), HANDLE_FLAG_INHERIT, 0);
    }

    CHandle reader;
    CHandle writer;
};

std::wstring Wide(const std::string& utf8) {
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end())).wstring();
}

/// In quotation marks, with the backslashes doubled that stand before one.
std::wstring Quoted(const std::wstring& argument) {
    std::wstring text = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t character : argument) {
        if (character == L'"') {
            text.append(backslashes + 1, L'\\');
        }
        backslashes = character == L'\\' ? backslashes + 1 : 0;
        text += character;
    }
    return text.append(backslashes, L'\\') + L"\"";
}

std::wstring CommandLine(const std::vector<std::string>& command) {
    std::wstring line;
    for (const std::string& argument : command) {
        line += (line.empty() ? L"" : L" ") + Quoted(Wide(argument));
    }
    return line;
}

/// Appends all that comes until the other end is closed.
void Take(HANDLE reader, std::string& text) {
    std::vector<char> buffer(65536);
    DWORD count = 0;
    while (ReadFile(reader, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) !=
               0 &&
           count != 0) {
        text.append(buffer.data(), count);
    }
}

/// Standard error is a text stream, whose lines end as Windows ends them.
void EndLinesAsTheProgramDid(std::string& text) {
    for (std::size_t end = text.find("\r\n"); end != text.npos; end = text.find("\r\n", end)) {
        text.erase(end, 1);
    }
}

HANDLE Start(const std::vector<std::string>& command, const std::wstring& folder, HANDLE output,
             HANDLE errors) {
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output;
    startup.hStdError = errors;
    PROCESS_INFORMATION process{};
    std::wstring line = CommandLine(command);
    if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                       folder.empty() ? nullptr : folder.c_str(), &startup, &process) == 0) {
        return nullptr;
    }
    CloseHandle(process.hThread);
    return process.hProcess;
}

HANDLE OpenOutput(const std::string& name) {
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    return CreateFileW(Wide(name).c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inheritable,
                       OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

}  // namespace

CChildResult RunChild(const std::vector<std::string>& command, const CChildOptions& options) {
    CPipe output;
    CPipe errors;
    CHandle file(options.outputFile.empty() ? nullptr : OpenOutput(options.outputFile));
    if (options.closeOutput) {
        output.reader.Close();
    }
    CChildResult result;
    const CHandle child(Start(command, options.folder.wstring(),
                              file.Get() != nullptr ? file.Get() : output.writer.Get(),
                              errors.writer.Get()));
    output.writer.Close();
    errors.writer.Close();
    if (child.Get() == nullptr) {
        result.status = 127;
        return result;
    }
    std::thread outputReader([&] {
        if (!options.closeOutput) {
            Take(output.reader.Get(), result.output);
        }
    });
    std::thread errorReader([&] { Take(errors.reader.Get(), result.errors); });
    const auto milliseconds = std::chrono::milliseconds(options.timeout).count();
    result.timedOut =
        WaitForSingleObject(child.Get(), static_cast<DWORD>(milliseconds)) != WAIT_OBJECT_0;
    if (result.timedOut) {
        TerminateProcess(child.Get(), 1);
    }
    outputReader.join();
    errorReader.join();
    EndLinesAsTheProgramDid(result.errors);
    DWORD status = 0;
    GetExitCodeProcess(child.Get(), &status);
    result.status = static_cast<int>(status);
    return result;
}

}  // namespace NTest
