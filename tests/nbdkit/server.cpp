#include "tests/nbdkit/server.h"

#include <chrono>
#include <thread>
#include <utility>

#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace NTest {

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

CServer::CServer(const std::vector<std::string>& arguments, std::string socket)
    : m_socket(socket.empty() ? (m_folder / "socket").string() : std::move(socket)) {
    std::vector<std::string> command = ServeCommand({"--socket", Socket()});
    // A connection that says nothing is a line in the server's trace: only where it has to be.
    const bool hasOlder = std::filesystem::exists(Socket());
    command.insert(command.end(), arguments.begin(), arguments.end());
    std::vector<char*> words;
    for (std::string& word : command) {
        words.push_back(word.data());
    }
    words.push_back(nullptr);
    m_process = fork();
    if (m_process == 0) {
        execvp(words[0], words.data());
        _exit(127);
    }
    for (int tries = 0; tries < 1000 && m_process > 0 && !m_listening; ++tries) {
        if (waitpid(m_process, nullptr, WNOHANG) != 0) {
            m_process = -1;
        }
        m_listening = hasOlder ? CanConnect() : std::filesystem::exists(Socket());
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

bool CServer::CanConnect() const {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    m_socket.copy(address.sun_path, sizeof address.sun_path - 1);
    const int client = socket(AF_UNIX, SOCK_STREAM, 0);
    const bool connected =
        connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(client);
    return connected;
}

int CServer::End(int signal) {
    if (m_process <= 0) {
        return -1;
    }
    int status = 0;
    kill(m_process, signal);
    waitpid(m_process, &status, 0);
    m_process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace NTest
