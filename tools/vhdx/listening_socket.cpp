#include "tools/vhdx/listening_socket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/socket_address.h"

namespace NTool {

namespace {

[[noreturn]] void Fail(const std::string& path, int error) {
    throw CCommandFailure(path, "no socket can be made: " + std::generic_category().message(error));
}

}  // namespace

CListeningSocket::CListeningSocket(const std::string& path) : m_path(path) {
    m_descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    if (m_descriptor < 0) {
        Fail(m_path, errno);
    }
    (void)fcntl(m_descriptor, F_SETFD, FD_CLOEXEC);
    try {
        Bind();
    } catch (...) {
        Close();
        throw;
    }
    if (listen(m_descriptor, SOMAXCONN) != 0) {
        const int error = errno;
        Close();
        (void)unlink(m_path.c_str());
        Fail(m_path, error);
    }
}

CListeningSocket::~CListeningSocket() {
    Close();
    struct stat found = {};
    if (lstat(m_path.c_str(), &found) == 0 && found.st_dev == m_device && found.st_ino == m_file) {
        (void)unlink(m_path.c_str());
    }
}

void CListeningSocket::Close() {
    if (m_descriptor >= 0) {
        (void)close(m_descriptor);
        m_descriptor = -1;
    }
}

/// The file has its mode from the moment on at which it is there.
void CListeningSocket::Bind() {
    const sockaddr_un address = SocketAddress(m_path);
    const mode_t before = umask(S_IXUSR | S_IRWXG | S_IRWXO);
    const bool bound =
        bind(m_descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    const int error = errno;
    (void)umask(before);
    struct stat made = {};
    if (!bound || lstat(m_path.c_str(), &made) != 0) {
        Fail(m_path, bound ? errno : error);
    }
    m_device = made.st_dev;
    m_file = made.st_ino;
}

}  // namespace NTool
