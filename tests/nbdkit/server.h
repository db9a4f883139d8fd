#ifndef VHDX_PARSER_TESTS_NBDKIT_SERVER_H
#define VHDX_PARSER_TESTS_NBDKIT_SERVER_H

/// `vhdx serve`, as long as a test needs it.

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
    /// Starts `vhdx serve` with these arguments and waits until it says that clients can connect.
    /// Its private socket is in a folder of the test's own, unless the environment says otherwise.
    explicit CServer(const std::vector<std::string>& arguments,
                     const std::vector<std::string>& environment = {});
    /// Starts nbdkit with the plugin and these parameters.
    enum EOfPlugin { ofPlugin };
    CServer(EOfPlugin, const std::vector<std::string>& parameters);
    /// Kills it. How it ends on Ctrl-C is a test's own question.
    ~CServer();
    CServer(const CServer&) = delete;
    CServer& operator=(const CServer&) = delete;

    bool IsListening() const { return !m_uri.empty(); }
    const std::string& Uri() const { return m_uri; }
    /// The path of its socket.
    std::string Socket() const;
    /// Where its private socket is made.
    const std::filesystem::path& SocketFolder() const { return m_folder.Path(); }
    /// Whether it has not ended by itself.
    bool IsRunning();
    /// nbdkit itself, the child of `vhdx`.
    pid_t Nbdkit() const;
    /// Ends it as Ctrl-C does, and waits. The exit status; 128 + the signal that ended it. A server
    /// that takes longer than half a minute is killed: 128 + SIGKILL.
    int Stop(int signal = SIGINT);
    /// Ends it, and nbdkit with it, without a chance to clean up.
    int Kill();

private:
    void Start(std::vector<std::string> command);
    void WaitForUri();
    int WaitForEnd();

    CTemporaryFolder m_folder;
    std::string m_uri;
    pid_t m_process = -1;  ///< positive until its end was seen
    pid_t m_group = -1;
    int m_output = -1;
};

}  // namespace NTest

#endif
