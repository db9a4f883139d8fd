#ifndef VHDX_PARSER_TESTS_NBDKIT_NBD_CLIENT_H
#define VHDX_PARSER_TESTS_NBDKIT_NBD_CLIENT_H

/// A client of the network block device protocol that also does what no good client does: it says
/// nothing, or asks for much and is gone before the answer.

#include <cstdint>
#include <string>

#include "tests/support/bytes.h"

namespace NTest {

class CNbdClient {
public:
    /// Connects to a Unix socket, and says nothing.
    explicit CNbdClient(const std::string& socket);
    /// Is gone, whatever it waits for.
    ~CNbdClient();
    CNbdClient(const CNbdClient&) = delete;
    CNbdClient& operator=(const CNbdClient&) = delete;

    bool IsConnected() const { return m_connected; }
    /// Whether the server lets it have the disk.
    bool Negotiate();
    /// Asks for bytes, and does not wait for them.
    bool Ask(std::uint64_t offset, std::uint32_t length);
    /// Asks for bytes and returns them; none when they do not come.
    CBytes Read(std::uint64_t offset, std::uint32_t length);

private:
    bool Send(const CBytes& bytes);
    bool Receive(CBytes& bytes);

    int m_socket = -1;
    bool m_connected = false;
};

}  // namespace NTest

#endif
