#ifndef VHDX_PARSER_TESTS_NBDKIT_SERVER_H
#define VHDX_PARSER_TESTS_NBDKIT_SERVER_H

/// `vhdx serve` on a Unix socket, as long as a test needs it.

#include <filesystem>
#include <string>
#include <vector>

#include <sys/types.h>

#include <csignal>

#include "tests/support/temporary_folder.h"

namespace NTest {

/// A command that ends in nbdkit with the plugin, as this build has to run it.
std::vector<std::string> PluginCommand(const std::vector<std::string>& command);

/// `vhdx serve` with these arguments, as a command to run.
std::vector<std::string> ServeCommand(const std::vector<std::string>& arguments);

class CServer {
public:
    /// Starts `vhdx serve` with these arguments and waits until clients can connect. Listens on
    /// this socket, or on one of its own.
    explicit CServer(const std::vector<std::string>& arguments, std::string socket = {});
    /// Kills it. How it ends on Ctrl-C is a test's own question; under AddressSanitizer nbdkit
    /// waits for ever at its end, for a lock of the C library, where a client vanished while it
    /// connected.
    ~CServer() { (void)Kill(); }
    CServer(const CServer&) = delete;
    CServer& operator=(const CServer&) = delete;

    bool IsListening() const { return m_listening; }
    std::string Uri() const { return "nbd+unix:///?socket=" + Socket(); }
    /// Ends it as Ctrl-C does, and waits. The exit status; 128 + the signal that ended it.
    int Stop() { return End(SIGINT); }
    /// Ends it without a chance to clean up.
    int Kill() { return End(SIGKILL); }

private:
    const std::string& Socket() const { return m_socket; }
    bool CanConnect() const;
    int End(int signal);

    CTemporaryFolder m_folder;
    std::string m_socket;
    pid_t m_process = -1;
    bool m_listening = false;
};

}  // namespace NTest

#endif
