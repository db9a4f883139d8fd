#ifndef VHDX_TOOLS_VHDX_SIGNAL_PIPE_H
#define VHDX_TOOLS_VHDX_SIGNAL_PIPE_H

#include <array>

#include <csignal>

#include "tools/vhdx/private_pipe.h"

namespace NTool {

/// While it lives, Ctrl-C and requests to end do not end this process, and neither they nor the end
/// of a child get lost: they can be waited for together with other descriptors. One at a time.
class CSignalPipe {
public:
    CSignalPipe();
    CSignalPipe(const CSignalPipe&) = delete;
    CSignalPipe& operator=(const CSignalPipe&) = delete;
    ~CSignalPipe();

    /// Ready for reading when a signal came.
    [[nodiscard]] int Descriptor() const { return m_pipe.Reader(); }
    /// The next signal that came; 0 when there is none.
    [[nodiscard]] int Take() const;

private:
    static constexpr std::array<int, 5> s_signals = {SIGCHLD, SIGINT, SIGTERM, SIGHUP, SIGQUIT};

    CPrivatePipe m_pipe;
    std::array<struct sigaction, s_signals.size()> m_before = {};
};

}  // namespace NTool

#endif
