#include "tools/vhdx/signal_pipe.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace NTool {

namespace {

volatile std::sig_atomic_t pipeOfSignals = -1;

/// A pipe that is full has signals enough.
extern "C" void TellPipe(int number) {
    const int error = errno;
    const auto byte = static_cast<unsigned char>(number);
    const ssize_t written = write(pipeOfSignals, &byte, 1);
    (void)written;
    errno = error;
}

}  // namespace

CSignalPipe::CSignalPipe() {
    for (const int end : {m_pipe.Reader(), m_pipe.Writer()}) {
        (void)fcntl(end, F_SETFL, O_NONBLOCK);
    }
    pipeOfSignals = m_pipe.Writer();
    struct sigaction action = {};
    action.sa_handler = TellPipe;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < s_signals.size(); ++i) {
        (void)sigaction(s_signals[i], &action, &m_before[i]);
    }
}

CSignalPipe::~CSignalPipe() {
    for (std::size_t i = 0; i < s_signals.size(); ++i) {
        (void)sigaction(s_signals[i], &m_before[i], nullptr);
    }
}

int CSignalPipe::Take() const {
    unsigned char byte = 0;
    return read(m_pipe.Reader(), &byte, 1) == 1 ? byte : 0;
}

}  // namespace NTool
