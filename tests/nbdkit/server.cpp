#include "tests/nbdkit/server.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/nbdkit/nbd_client.h"

namespace NTest {

namespace {

using CClock = std::chrono::steady_clock;
constexpr std::chrono::seconds Patience{30};
const std::string UriStart = "nbd+unix:///?socket=";

/// In the child: a process group of its own, so that all of it can be killed, and not left behind
/// when the test is.
[[noreturn]] void Become(std::vector<std::string>& command, int output) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(output, STDOUT_FILENO);
    std::vector<char*> words;
    words.reserve(command.size() + 1);
    for (std::string& word : command) {
        words.push_back(word.data());
    }
    words.push_back(nullptr);
    execvp(words[0], words.data());
    _exit(127);
}

}  // namespace

std::vector<std::string> PluginCommand(const std::vector<std::string>& command) {
    std::vector<std::string> whole;
    if (const std::string preloaded = VHDX_PARSER_PRELOADED; !preloaded.empty()) {
        // What nbdkit itself leaves behind at its end is not ours to find.
        whole = {"env", "LD_PRELOAD=" + preloaded, "ASAN_OPTIONS=detect_leaks=0"};
    }
    whole.insert(whole.end(), command.begin(), command.end());
    return whole;
}

std::vector<std::string> ServeCommand(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {VHDX_PARSER_VHDX_COMMAND, "serve"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return PluginCommand(command);
}

CServer::CServer(const std::vector<std::string>& arguments,
                 const std::vector<std::string>& environment) {
    std::filesystem::permissions(m_folder.Path(), std::filesystem::perms::owner_all);
    std::vector<std::string> command = {"env", "XDG_RUNTIME_DIR=" + m_folder.Narrow()};
    command.insert(command.end(), environment.begin(), environment.end());
    const std::vector<std::string> serve = ServeCommand(arguments);
    command.insert(command.end(), serve.begin(), serve.end());
    Start(std::move(command));
    WaitForUri();
}

CServer::CServer(EOfPlugin, const std::vector<std::string>& parameters) {
    const std::string socket = (m_folder / "socket").string();
    std::vector<std::string> command = {"nbdkit", "--foreground", "--unix=" + socket,
                                        VHDX_PARSER_PLUGIN};
    command.insert(command.end(), parameters.begin(), parameters.end());
    Start(PluginCommand(command));
    const auto end = CClock::now() + Patience;
    while (m_uri.empty() && IsRunning() && CClock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        if (CNbdClient(socket).IsConnected()) {
            m_uri = UriStart + socket;
        }
    }
}

CServer::~CServer() {
    (void)Kill();
    if (m_group > 0) {
        kill(-m_group, SIGKILL);  // nbdkit, where only `vhdx` was ended
    }
    if (m_output >= 0) {
        close(m_output);
    }
}

void CServer::Start(std::vector<std::string> command) {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return;
    }
    m_process = fork();
    if (m_process == 0) {
        Become(command, ends[1]);
    }
    m_group = m_process;
    setpgid(m_process, m_group);
    close(ends[1]);
    m_output = ends[0];
}

void CServer::WaitForUri() {
    const auto end = CClock::now() + Patience;
    std::string line;
    pollfd source = {m_output, POLLIN, 0};
    for (char byte = 0; CClock::now() < end;) {
        if (poll(&source, 1, 1000) <= 0) {
            continue;
        }
        if (read(m_output, &byte, 1) <= 0) {
            return;
        }
        if (byte == '\n') {
            m_uri = line;
            return;
        }
        line += byte;
    }
}

std::string CServer::Socket() const {
    return m_uri.starts_with(UriStart) ? m_uri.substr(UriStart.size()) : std::string();
}

bool CServer::IsRunning() {
    if (m_process > 0 && waitpid(m_process, nullptr, WNOHANG) != 0) {
        m_process = -1;
    }
    return m_process > 0;
}

pid_t CServer::Nbdkit() const {
    const std::string process = std::to_string(m_process);
    pid_t child = -1;
    std::ifstream("/proc/" + process + "/task/" + process + "/children") >> child;
    return child;
}

int CServer::Stop(int signal) {
    if (m_process <= 0) {
        return -1;
    }
    kill(m_process, signal);
    return WaitForEnd();
}

int CServer::Kill() {
    if (m_process <= 0) {
        return -1;
    }
    kill(-m_group, SIGKILL);
    return WaitForEnd();
}

int CServer::WaitForEnd() {
    const auto end = CClock::now() + Patience;
    int status = 0;
    while (waitpid(m_process, &status, WNOHANG) == 0) {
        if (CClock::now() > end) {
            kill(-m_group, SIGKILL);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    m_process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace NTest
