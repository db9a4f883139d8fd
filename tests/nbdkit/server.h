#ifndef VHDX_PARSER_TESTS_NBDKIT_SERVER_H
#define VHDX_PARSER_TESTS_NBDKIT_SERVER_H

/// `vhdx serve` on a Unix socket, as long as a test needs it.

#include <filesystem>
#include <string>
#include <vector>

#include <sys/types.h>

#include "tests/support/temporary_folder.h"

namespace NTest {

/// A command that ends in nbdkit with the plugin, as this build has to run it.
std::vector<std::string> PluginCommand(const std::vector<std::string>& command);

/// `vhdx serve` with these arguments, as a command to run.
std::vector<std::string> ServeCommand(const std::vector<std::string>& arguments);

class CServer {
public:
    /// Starts `vhdx serve` with these arguments and waits until clients can connect.
    explicit CServer(const std::vector<std::string>& arguments);
    /// Ends it as Ctrl-C does.
    ~CServer() { (void)Stop(); }
    CServer(const CServer&) = delete;
    CServer& operator=(const CServer&) = delete;

    bool IsListening() const { return m_listening; }
    std::string Uri() const { return "nbd+unix:///?socket=" + Socket(); }
    /// Ends it as Ctrl-C does, and waits. The exit status; 128 + the signal that ended it.
    int Stop();

private:
    std::string Socket() const { return (m_folder / "socket").string(); }

    CTemporaryFolder m_folder;
    pid_t m_process = -1;
    bool m_listening = false;
};

}  // namespace NTest

#endif
