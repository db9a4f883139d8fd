#include "tools/vhdx/interruption.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <unistd.h>

#include <array>
#include <csignal>
#endif

namespace NTool {

#if defined(_WIN32)

namespace {

/// Held while interruptions have to wait: Windows reports them on a thread of its own.
SRWLOCK interruptionLock = SRWLOCK_INIT;
const wchar_t* guardedFile = nullptr;

/// For Ctrl-C, Ctrl-Break and a closed window alike.
BOOL WINAPI RemoveAndEnd(DWORD) {
    // Kept to the end, so that nothing new is made or guarded while the program ends.
    AcquireSRWLockExclusive(&interruptionLock);
    if (guardedFile != nullptr) {
        // It is open; it goes when the end of the program closes it.
        (void)DeleteFileW(guardedFile);
    }
    (void)TerminateProcess(GetCurrentProcess(), static_cast<UINT>(STATUS_CONTROL_C_EXIT));
    return FALSE;
}

}  // namespace

CRemovedWhenInterrupted::CRemovedWhenInterrupted() {
    // Not under the lock: Windows has one of its own, which it holds while it calls the handler.
    (void)SetConsoleCtrlHandler(RemoveAndEnd, TRUE);
    AcquireSRWLockExclusive(&interruptionLock);
}

CRemovedWhenInterrupted::~CRemovedWhenInterrupted() {
    if (!m_holding) {
        AcquireSRWLockExclusive(&interruptionLock);
        m_holding = true;
    }
    guardedFile = nullptr;
    LetThrough();
    (void)SetConsoleCtrlHandler(RemoveAndEnd, FALSE);
}

void CRemovedWhenInterrupted::Guard(const std::filesystem::path& file) {
    m_file = file;
    guardedFile = m_file.c_str();
    LetThrough();
}

void CRemovedWhenInterrupted::LetThrough() {
    if (m_holding) {
        m_holding = false;
        ReleaseSRWLockExclusive(&interruptionLock);
    }
}

#else

namespace {

constexpr std::array<int, 3> signals = {SIGINT, SIGTERM, SIGHUP};

/// The guarded file's name, which lives as long as the guard.
const char* volatile guardedFile = nullptr;

extern "C" void RemoveAndEnd(int number) {
    if (guardedFile != nullptr) {
        (void)unlink(guardedFile);
    }
    // The handler has been taken off on entry; the signal is delivered when the handler returns.
    (void)raise(number);
}

/// What the caller had ignored, as nohup does, stays so.
void InstallHandler(int number) {
    struct sigaction action = {};
    if (sigaction(number, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) {
        return;
    }
    action.sa_handler = RemoveAndEnd;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    (void)sigaction(number, &action, nullptr);
}

void Hold(int how) {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : signals) {
        sigaddset(&set, number);
    }
    (void)sigprocmask(how, &set, nullptr);
}

}  // namespace

CRemovedWhenInterrupted::CRemovedWhenInterrupted() {
    Hold(SIG_BLOCK);
}

CRemovedWhenInterrupted::~CRemovedWhenInterrupted() {
    guardedFile = nullptr;
    LetThrough();
}

void CRemovedWhenInterrupted::Guard(const std::filesystem::path& file) {
    m_file = file;
    guardedFile = m_file.c_str();
    for (const int number : signals) {
        InstallHandler(number);
    }
    LetThrough();
}

void CRemovedWhenInterrupted::LetThrough() {
    if (m_holding) {
        m_holding = false;
        Hold(SIG_UNBLOCK);
    }
}

#endif

}  // namespace NTool
