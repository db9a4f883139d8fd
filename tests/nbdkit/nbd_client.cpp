#include "tests/nbdkit/nbd_client.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace NTest {

namespace {

constexpr std::uint64_t OptionMagic = 0x49484156454F5054;  // "IHAVEOPT"
constexpr std::uint32_t RequestMagic = 0x25609513;

template <class TNumber>
void Append(CBytes& bytes, TNumber number) {
    for (int shift = static_cast<int>(8 * sizeof number) - 8; shift >= 0; shift -= 8) {
        bytes.push_back(static_cast<unsigned char>(number >> shift));
    }
}

std::uint32_t Get32(const CBytes& bytes, std::size_t at) {
    return static_cast<std::uint32_t>(bytes[at]) << 24 |
           static_cast<std::uint32_t>(bytes[at + 1]) << 16 |
           static_cast<std::uint32_t>(bytes[at + 2]) << 8 | bytes[at + 3];
}

}  // namespace

CNbdClient::CNbdClient(const std::string& socket) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    socket.copy(address.sun_path, sizeof address.sun_path - 1);
    m_socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    const timeval patience = {30, 0};
    (void)setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    (void)setsockopt(m_socket, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    m_connected =
        connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

CNbdClient::~CNbdClient() {
    close(m_socket);
}

bool CNbdClient::Negotiate() {
    CBytes greeting(18);
    CBytes hello;
    Append(hello, std::uint32_t{3});  // fixed newstyle, no zeros
    Append(hello, OptionMagic);
    Append(hello, std::uint32_t{7});  // NBD_OPT_GO
    Append(hello, std::uint32_t{6});
    Append(hello, std::uint32_t{0});  // the default export,
    Append(hello, std::uint16_t{0});  // of which nothing more is asked
    if (!Receive(greeting) || !Send(hello)) {
        return false;
    }
    for (CBytes reply(20); Receive(reply); reply.resize(20)) {
        const std::uint32_t type = Get32(reply, 12);
        CBytes content(Get32(reply, 16));
        if (type == 1 || type >= 0x80000000 || !Receive(content)) {
            return type == 1;
        }
    }
    return false;
}

bool CNbdClient::Ask(std::uint64_t offset, std::uint32_t length) {
    CBytes request;
    Append(request, RequestMagic);
    Append(request, std::uint32_t{0});  // no flags, read
    Append(request, std::uint64_t{0});
    Append(request, offset);
    Append(request, length);
    return Send(request);
}

CBytes CNbdClient::Read(std::uint64_t offset, std::uint32_t length) {
    CBytes reply(16);
    CBytes bytes(length);
    const bool isAnswered = Ask(offset, length) && Receive(reply) && Get32(reply, 4) == 0;
    return isAnswered && Receive(bytes) ? bytes : CBytes();
}

bool CNbdClient::Send(const CBytes& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count =
            send(m_socket, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(count);
    }
    return true;
}

bool CNbdClient::Receive(CBytes& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = recv(m_socket, bytes.data() + done, bytes.size() - done, 0);
        if (count <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(count);
    }
    return true;
}

}  // namespace NTest
