#ifndef VHDX_TOOLS_VHDX_SERVER_PROCESS_H
#define VHDX_TOOLS_VHDX_SERVER_PROCESS_H

#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "tools/vhdx/private_pipe.h"
#include "tools/vhdx/signal_pipe.h"

namespace NTool {

/// nbdkit as a child of this process.
///
/// It does not take this process's place, because it leaves three things to who starts it: to make
/// a socket that nobody else can use, to say when clients may come, and to remove the socket at the
/// end. The socket is handed to it as a service manager would; that it is ready it tells by
/// --pidfile, which names a pipe here. Where this process is killed nbdkit is asked to end, too.
class CServerProcess {
public:
    /// `command` is nbdkit with its arguments, `socket` the one on which it is to listen, negative
    /// when the command says where. Throws `CCommandFailure` when nbdkit cannot be started.
    CServerProcess(const CSignalPipe& signals, std::vector<std::string> command, int socket);
    CServerProcess(const CServerProcess&) = delete;
    CServerProcess& operator=(const CServerProcess&) = delete;
    /// Ends it without waiting for anybody.
    ~CServerProcess();

    /// Calls `ready` when clients can connect, hands on every signal, and waits for the end. The
    /// exit status, 128 + the number of the signal where one ended it. Asked to end, nbdkit waits
    /// for the clients that are connected, even for those that say nothing: some seconds later it
    /// is ended without them, which is a clean end too, of what only reads.
    int Run(const std::function<void()>& ready);

private:
    void TakeReady(const std::function<void()>& ready);
    void TakeSignal();
    bool HasEnded();
    int TimeLeft() const;

    const CSignalPipe& m_signals;
    pid_t m_process = -1;
    CPrivatePipe m_ready;
    long long m_end = 0;  ///< when it is ended, in milliseconds of `Now`; 0: nobody asked for it
    bool m_wasReady = false;
    bool m_cutOff = false;
    int m_status = 0;
};

}  // namespace NTool

#endif
