#include "tools/vhdx/server_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <system_error>

#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/notes.h"

namespace NTool {

namespace {

/// Where nbdkit finds a socket that it is handed, and behind it the pipe of --pidfile.
constexpr int SocketPlace = 3;
constexpr int PipePlace = 4;

constexpr long long LongestEnd = 3000;  ///< milliseconds

long long Now() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

[[noreturn]] void FailToStart(int error) {
    throw CCommandFailure(
        "nbdkit", error == ENOENT ? "is not installed" : std::generic_category().message(error));
}

/// In the child: becomes nbdkit, or says why not.
[[noreturn]] void BecomeNbdkit(std::vector<char*>& arguments, int socket, int ready, int failed) {
    if (socket >= 0) {
        const int apart = fcntl(socket, F_DUPFD_CLOEXEC, PipePlace + 1);
        (void)dup2(apart, SocketPlace);
        (void)setenv("LISTEN_FDS", "1", 1);
        (void)setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
    }
    (void)dup2(ready, PipePlace);
    (void)execvp(arguments[0], arguments.data());
    const int error = errno;
    const ssize_t written = write(failed, &error, sizeof error);
    (void)written;
    _exit(127);
}

}  // namespace

CServerProcess::CServerProcess(const CSignalPipe& signals, std::vector<std::string> command,
                               int socket)
    : m_signals(signals) {
    command.insert(command.begin() + 1,
                   {"--exit-with-parent", "--pidfile=/dev/fd/" + std::to_string(PipePlace)});
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& argument : command) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    CPrivatePipe failed;
    m_process = fork();
    if (m_process == 0) {
        BecomeNbdkit(arguments, socket, m_ready.Writer(), failed.Writer());
    }
    if (m_process < 0) {
        FailToStart(errno);
    }
    m_ready.CloseWriter();
    failed.CloseWriter();
    int error = 0;
    if (read(failed.Reader(), &error, sizeof error) == sizeof error) {
        (void)waitpid(m_process, nullptr, 0);
        FailToStart(error);
    }
}

CServerProcess::~CServerProcess() {
    if (m_process > 0) {
        (void)kill(m_process, SIGKILL);
        (void)waitpid(m_process, nullptr, 0);
    }
}

int CServerProcess::Run(const std::function<void()>& ready) {
    while (!HasEnded()) {
        std::array<pollfd, 2> sources = {pollfd{m_signals.Descriptor(), POLLIN, 0},
                                         pollfd{m_ready.Reader(), POLLIN, 0}};
        const int count = poll(sources.data(), sources.size(), TimeLeft());
        if (count == 0) {
            m_cutOff = true;
            m_end = 0;
            (void)kill(m_process, SIGKILL);
        }
        if (count > 0 && sources[0].revents != 0) {
            TakeSignal();
        }
        if (count > 0 && sources[1].revents != 0) {
            TakeReady(ready);
        }
    }
    if (m_cutOff && m_wasReady) {
        PrintNote("nbdkit waited for clients that are connected, and was ended without them");
        return 0;
    }
    return WIFEXITED(m_status) ? WEXITSTATUS(m_status) : 128 + WTERMSIG(m_status);
}

/// nbdkit writes one line, and keeps the pipe open.
void CServerProcess::TakeReady(const std::function<void()>& ready) {
    std::array<char, 64> line = {};
    m_wasReady = read(m_ready.Reader(), line.data(), line.size()) > 0;
    m_ready.CloseReader();
    if (m_wasReady) {
        ready();
    }
}

void CServerProcess::TakeSignal() {
    const int number = m_signals.Take();
    if (number == 0 || number == SIGCHLD) {
        return;
    }
    (void)kill(m_process, number);
    if (m_end == 0) {
        m_end = Now() + LongestEnd;
    }
}

/// Asked after every signal, so that the end of nbdkit, which is one, is seen.
bool CServerProcess::HasEnded() {
    if (waitpid(m_process, &m_status, WNOHANG) != m_process) {
        return false;
    }
    m_process = -1;
    return true;
}

/// For `poll`: negative when there is no hurry.
int CServerProcess::TimeLeft() const {
    const long long left = m_end - Now();
    return m_end == 0 ? -1 : left < 0 ? 0 : static_cast<int>(left);
}

}  // namespace NTool
