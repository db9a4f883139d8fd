// Where `vhdx serve` listens, who can connect, and what is left of it at the end.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/nbdkit/nbd_client.h"
#include "tests/nbdkit/server.h"
#include "tests/support/chain_model.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

namespace fs = std::filesystem;

unsigned ModeOf(const fs::path& path) {
    struct stat found = {};
    return lstat(path.c_str(), &found) == 0 ? found.st_mode & 07777U : 0U;
}

class ServeAccess : public testing::Test {
protected:
    void SetUp() override {
        m_chain.AddDisk(CDiskShape().Size(8 * MiB)).Present(1, 1);
        m_chain.WriteTo(m_folder.Path());
    }
    std::string Path(const std::string& name) const { return (m_folder / name).string(); }

    void ExpectReadable(const std::string& uri) const {
        const CChildResult result = RunChild({"nbdinfo", "--size", uri});
        EXPECT_EQ(result.output, "8388608\n") << result.errors;
    }

    CTemporaryFolder m_folder;
    CChainModel m_chain;
};

TEST_F(ServeAccess, IsTheOwnersAloneByDefault) {
    const CServer server({Path("0.vhdx")});
    ASSERT_TRUE(server.IsListening());
    const fs::path socket = server.Socket();
    EXPECT_TRUE(fs::is_socket(socket));
    EXPECT_EQ(ModeOf(socket), 0600U);
    EXPECT_EQ(ModeOf(socket.parent_path()), 0700U);
    EXPECT_EQ(socket.parent_path().parent_path(), server.SocketFolder());
    ExpectReadable(server.Uri());
}

TEST_F(ServeAccess, LeavesNothingBehind) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        CServer server({Path("0.vhdx")});
        ASSERT_TRUE(server.IsListening());
        ASSERT_EQ(NamesIn(server.SocketFolder()).size(), 1U);
        EXPECT_EQ(server.Stop(signal), 0);
        EXPECT_EQ(NamesIn(server.SocketFolder()).size(), 0U);
    }
}

TEST_F(ServeAccess, LeavesNothingBehindWhereItCannotServe) {
    fs::permissions(m_folder.Path(), fs::perms::owner_all);
    std::vector<std::string> command = {"env", "XDG_RUNTIME_DIR=" + m_folder.Narrow()};
    for (const std::string& word : ServeCommand({Path("none.vhdx")})) {
        command.push_back(word);
    }
    const CChildResult result = RunChild(command);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(NamesIn(m_folder.Path()), std::vector<std::string>{"0.vhdx"});
}

/// `sudo` and `su` may keep the variable of the user who called them.
TEST_F(ServeAccess, TakesNoRuntimeFolderThatOthersMayEnter) {
    CTemporaryFolder shared;
    fs::permissions(shared.Path(), fs::perms::owner_all | fs::perms::group_exec);
    for (const std::string& folder :
         {shared.Narrow(), Path("none"), std::string("relative"), std::string(), Path("0.vhdx")}) {
        CTemporaryFolder temporary;
        CServer server({Path("0.vhdx")},
                       {"XDG_RUNTIME_DIR=" + folder, "TMPDIR=" + temporary.Narrow()});
        ASSERT_TRUE(server.IsListening());
        EXPECT_TRUE(server.Socket().starts_with(temporary.Narrow() + "/vhdx-")) << folder;
        EXPECT_EQ(ModeOf(fs::path(server.Socket()).parent_path()), 0700U);
        EXPECT_EQ(server.Stop(), 0);
        EXPECT_EQ(NamesIn(temporary.Path()).size(), 0U);
        EXPECT_EQ(NamesIn(shared.Path()).size(), 0U);
    }
}

TEST_F(ServeAccess, IsTheOwnersAloneOnAGivenSocket) {
    const mode_t before = umask(0);
    CServer server({Path("0.vhdx"), "--socket", Path("socket")});
    umask(before);
    ASSERT_TRUE(server.IsListening());
    EXPECT_EQ(server.Socket(), Path("socket"));
    EXPECT_EQ(ModeOf(Path("socket")), 0600U);
    ExpectReadable(server.Uri());
    EXPECT_EQ(server.Stop(), 0);
    EXPECT_FALSE(fs::exists(Path("socket")));
}

TEST_F(ServeAccess, EscapesWhatAUriMayNotHold) {
    const CServer server({Path("0.vhdx"), "--socket", Path("a socket & 100 %?#.s")});
    ASSERT_TRUE(server.IsListening());
    EXPECT_EQ(server.Socket(), Path("a%20socket%20%26%20100%20%25%3F%23.s"));
    ExpectReadable(server.Uri());
}

TEST_F(ServeAccess, LeavesWhatTookItsSocketsPlace) {
    CServer server({Path("0.vhdx"), "--socket", Path("socket")});
    ASSERT_TRUE(server.IsListening());
    fs::rename(Path("socket"), Path("moved"));
    std::ofstream(Path("socket")) << "somebody's";
    EXPECT_EQ(server.Stop(), 0);
    EXPECT_EQ(fs::file_size(Path("socket")), 10U);
}

/// A port that was free a moment ago.
int FreePort() {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    const int probe = socket(AF_INET, SOCK_STREAM, 0);
    const bool found =
        bind(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length) == 0;
    close(probe);
    return found ? ntohs(address.sin_port) : 0;
}

/// The addresses of this machine on which somebody listens at the port, as the system writes them.
std::vector<std::string> ListeningAt(const std::string& port) {
    const std::string listening = R"($4 == "0A" && split($2, at, ":"))";
    const std::string atPort = R"( && at[2] == sprintf("%04X", port) { print at[1] })";
    const CChildResult result = RunChild(
        {"awk", "-v", "port=" + port, listening + atPort, "/proc/net/tcp", "/proc/net/tcp6"});
    std::istringstream lines(result.output);
    return {std::istream_iterator<std::string>(lines), {}};
}

TEST_F(ServeAccess, ListensOnAPortOfThisMachineOnRequest) {
    const std::string port = std::to_string(FreePort());
    CServer server({Path("0.vhdx"), "--port", port});
    ASSERT_TRUE(server.IsListening());
    EXPECT_EQ(server.Uri(), "nbd://localhost:" + port);
    ExpectReadable(server.Uri());
    EXPECT_EQ(NamesIn(server.SocketFolder()).size(), 0U);
    EXPECT_FALSE(ListeningAt(port).empty());
    for (const std::string& address : ListeningAt(port)) {
        EXPECT_TRUE(address == "0100007F" || address == "00000000000000000000000001000000")
            << address;
    }
    EXPECT_EQ(server.Stop(), 0);
}

TEST_F(ServeAccess, ListensOnNoPortUnasked) {
    const CServer server({Path("0.vhdx")});
    ASSERT_TRUE(server.IsListening());
    const std::string process = std::to_string(server.Nbdkit());
    const CChildResult sockets = RunChild(
        {"sh", "-c",
         "for f in /proc/" + process + "/fd/*; do readlink $f; done | grep -c '^socket:'"});
    EXPECT_EQ(sockets.output, "1\n");
}

TEST_F(ServeAccess, RefusesPortsThatAreNoneAndASocketBesideAPort) {
    for (const char* port : {"0", "65536", "-1", "nbd"}) {
        EXPECT_EQ(RunVhdx({"serve", Path("0.vhdx"), "--port", port}).status, 2) << port;
    }
    EXPECT_EQ(
        RunVhdx({"serve", Path("0.vhdx"), "--port", "10809", "--socket", Path("socket")}).status,
        2);
}

TEST_F(ServeAccess, EndsWhereNobodyTakesItsUri) {
    CChildOptions options;
    options.closeOutput = true;
    options.timeout = std::chrono::seconds(30);
    const CChildResult result = RunChild(ServeCommand({Path("0.vhdx")}), options);
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.status, 1);
}

TEST_F(ServeAccess, SaysThatNbdkitIsNotInstalled) {
    const CChildResult result =
        RunChild({"env", "PATH=/nowhere", VHDX_PARSER_VHDX_COMMAND, "serve", Path("0.vhdx")});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "vhdx: nbdkit: is not installed\n");
}

TEST_F(ServeAccess, EndsTogetherWithNbdkit) {
    CServer server({Path("0.vhdx")});
    ASSERT_TRUE(server.IsListening());
    ASSERT_GT(server.Nbdkit(), 0);
    kill(server.Nbdkit(), SIGKILL);
    EXPECT_EQ(server.Stop(0), 128 + SIGKILL);
    EXPECT_EQ(NamesIn(server.SocketFolder()).size(), 0U);
}

TEST_F(ServeAccess, LeavesNoNbdkitBehindWhenItIsKilled) {
    CServer server({Path("0.vhdx")});
    ASSERT_TRUE(server.IsListening());
    EXPECT_EQ(server.Stop(SIGKILL), 128 + SIGKILL);
    int tries = 0;
    while (CNbdClient(server.Socket()).IsConnected() && tries < 1000) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        ++tries;
    }
    EXPECT_LT(tries, 1000);
}

}  // namespace
}  // namespace NTest
