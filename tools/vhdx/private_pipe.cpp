#include "tools/vhdx/private_pipe.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "tools/vhdx/command_failure.h"

namespace NTool {

CPrivatePipe::CPrivatePipe() {
    std::array<int, 2> ends = {-1, -1};
    if (pipe(ends.data()) != 0) {
        throw CCommandFailure("no pipe: " + std::generic_category().message(errno));
    }
    for (std::size_t end = 0; end < ends.size(); ++end) {
        m_ends[end] = fcntl(ends[end], F_DUPFD_CLOEXEC, 10);
        (void)close(ends[end]);
    }
}

CPrivatePipe::~CPrivatePipe() {
    CloseReader();
    CloseWriter();
}

void CPrivatePipe::Close(std::size_t end) {
    if (m_ends[end] >= 0) {
        (void)close(m_ends[end]);
        m_ends[end] = -1;
    }
}

}  // namespace NTool
