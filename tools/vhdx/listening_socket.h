#ifndef VHDX_TOOLS_VHDX_LISTENING_SOCKET_H
#define VHDX_TOOLS_VHDX_LISTENING_SOCKET_H

#include <string>

#include <sys/types.h>

namespace NTool {

/// A Unix socket on which clients of its owner alone can connect, root's beside them. It is made so
/// that at no moment anybody else can. Its file is removed at the end.
class CListeningSocket {
public:
    /// Throws `CCommandFailure` when there can be no socket of this path.
    explicit CListeningSocket(const std::string& path);
    CListeningSocket(const CListeningSocket&) = delete;
    CListeningSocket& operator=(const CListeningSocket&) = delete;
    /// Leaves what somebody else put in its file's place.
    ~CListeningSocket();

    [[nodiscard]] const std::string& Path() const { return m_path; }
    [[nodiscard]] int Descriptor() const { return m_descriptor; }
    /// Another process has the socket and answers; this one no longer does. The file stays.
    void Close();

private:
    void Bind();

    std::string m_path;
    int m_descriptor = -1;
    dev_t m_device = 0;
    ino_t m_file = 0;
};

}  // namespace NTool

#endif
