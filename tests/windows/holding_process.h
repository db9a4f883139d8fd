#ifndef VHDX_PARSER_TESTS_WINDOWS_HOLDING_PROCESS_H
#define VHDX_PARSER_TESTS_WINDOWS_HOLDING_PROCESS_H

#include <windows.h>

#include <filesystem>
#include <string>

namespace NTest {

/// Another process that holds a file open for writing as long as this object lives.
class CHoldingProcess {
public:
    explicit CHoldingProcess(const std::filesystem::path& file) {
        HANDLE childInput = nullptr;
        HANDLE childOutput = nullptr;
        SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        CreatePipe(&childInput, &m_input, &inheritable, 0);
        CreatePipe(&m_output, &childOutput, &inheritable, 0);
        // A copy of the writing end in the child would keep its input from ending.
        SetHandleInformation(m_input, HANDLE_FLAG_INHERIT, 0);
        Start(file, childInput, childOutput);
        CloseHandle(childInput);
        CloseHandle(childOutput);
        m_holds = FirstOutput() == 'o';
    }
    ~CHoldingProcess() {
        CloseHandle(m_input);
        WaitForSingleObject(m_process, INFINITE);
        CloseHandle(m_output);
        CloseHandle(m_process);
    }
    CHoldingProcess(const CHoldingProcess&) = delete;
    CHoldingProcess& operator=(const CHoldingProcess&) = delete;

    bool Holds() const { return m_holds; }

private:
    void Start(const std::filesystem::path& file, HANDLE childInput, HANDLE childOutput) {
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdInput = childInput;
        startup.hStdOutput = childOutput;
        startup.hStdError = childOutput;
        PROCESS_INFORMATION process{};
        std::wstring command = L"\"" + Program() + L"\" \"" + file.wstring() + L"\"";
        CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                       &startup, &process);
        CloseHandle(process.hThread);
        m_process = process.hProcess;
    }

    /// `hold_open.exe`, which lies beside the program that runs.
    static std::wstring Program() {
        wchar_t self[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, self, MAX_PATH);
        return (std::filesystem::path(self).parent_path() / L"hold_open.exe").wstring();
    }

    char FirstOutput() const {
        char character = 0;
        DWORD count = 0;
        return ReadFile(m_output, &character, 1, &count, nullptr) != 0 && count == 1 ? character
                                                                                     : char();
    }

    HANDLE m_input = nullptr;
    HANDLE m_output = nullptr;
    HANDLE m_process = nullptr;
    bool m_holds = false;
};

}  // namespace NTest

#endif
