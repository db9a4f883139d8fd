// Clients of `vhdx serve` that do as no good client does, and many at a time.

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <thread>

#include "tests/nbdkit/nbd_client.h"
#include "tests/nbdkit/server.h"
#include "tests/support/chain_model.h"
#include "tests/support/sanitizers.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

using CClients = std::vector<std::unique_ptr<CNbdClient>>;

class ServeClients : public testing::Test {
protected:
    void WriteDisk() {
        m_chain.AddDisk(CDiskShape().Size(8 * MiB));
        for (std::uint64_t block = 0; block < 8; ++block) {
            m_chain.Present(block, block + 1);
        }
        m_chain.WriteTo(m_folder.Path());
    }
    std::string Path(const std::string& name) const { return (m_folder / name).string(); }

    CBytes Expected(std::uint64_t offset, std::uint32_t length) const {
        const auto first = m_chain.Content().begin() + static_cast<std::ptrdiff_t>(offset);
        return {first, first + length};
    }

    /// Whether a client of good manners is answered.
    bool IsServed(const CServer& server) const {
        CNbdClient client(server.Socket());
        return client.Negotiate() && client.Read(3 * MiB, 65536) == Expected(3 * MiB, 65536);
    }

    CTemporaryFolder m_folder;
    CChainModel m_chain;
};

/// Asks for more than the socket can hold, and is gone.
void Vanish(const CServer& server) {
    CNbdClient client(server.Socket());
    if (client.Negotiate()) {
        for (std::uint64_t request = 0; request < 64; ++request) {
            (void)client.Ask(request % 100 * 65536, 65536);
        }
    }
}

bool IsNbdkit132() {
    return RunChild({"nbdkit", "--version"}).output.starts_with("nbdkit 1.32.");
}

TEST_F(ServeClients, MayVanishWhileTheyAreAnswered) {
    WriteDisk();
    CServer server({Path("0.vhdx")});
    ASSERT_TRUE(server.IsListening());
    testing::internal::CaptureStderr();
    for (int client = 0; client < 50; ++client) {
        Vanish(server);
    }
    EXPECT_TRUE(IsServed(server));
    EXPECT_TRUE(server.IsRunning());
    (void)testing::internal::GetCapturedStderr();
}

/// What the one before guards against, and that these clients do meet it.
TEST_F(ServeClients, EndAnOlderNbdkitThatWorksOnSeveralRequestsOfOne) {
    WriteDisk();
    CServer server(CServer::ofPlugin, {"file=" + Path("0.vhdx"), "parallel=true"});
    ASSERT_TRUE(server.IsListening());
    for (int client = 0; client < 1000 && server.IsRunning(); ++client) {
        Vanish(server);
    }
    EXPECT_EQ(server.IsRunning(), !IsNbdkit132());
}

TEST_F(ServeClients, AreServedOneRequestAtATimeByAnOlderNbdkit) {
    const CChildResult plugin =
        RunChild(PluginCommand({"nbdkit", VHDX_PARSER_PLUGIN, "--dump-plugin"}));
    ASSERT_EQ(plugin.status, 0) << plugin.errors;
    const bool isSerialised =
        plugin.output.find("\nthread_model=serialize_requests\n") != std::string::npos;
    EXPECT_TRUE(isSerialised || !IsNbdkit132()) << plugin.output;
}

TEST_F(ServeClients, ThatSayNothingKeepNobodyWaiting) {
    WriteDisk();
    CServer server({Path("0.vhdx")});
    ASSERT_TRUE(server.IsListening());
    CClients silent;
    for (int client = 0; client < 40; ++client) {
        silent.push_back(std::make_unique<CNbdClient>(server.Socket()));
        ASSERT_TRUE(silent.back()->IsConnected());
        ASSERT_TRUE(client % 2 == 0 || silent.back()->Negotiate());
    }
    EXPECT_TRUE(IsServed(server));
}

TEST_F(ServeClients, ThatSayNothingDoNotKeepItFromEnding) {
    WriteDisk();
    for (const int signal : {SIGINT, SIGTERM}) {
        CServer server({Path("0.vhdx")});
        ASSERT_TRUE(server.IsListening());
        CNbdClient connected(server.Socket());
        CNbdClient negotiated(server.Socket());
        ASSERT_TRUE(negotiated.Negotiate());
        CNbdClient asking(server.Socket());
        ASSERT_TRUE(asking.Negotiate());
        for (std::uint64_t request = 0; request < 64; ++request) {
            ASSERT_TRUE(asking.Ask(request * 65536, 65536));
        }
        ASSERT_TRUE(IsServed(server));
        testing::internal::CaptureStderr();
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(server.Stop(signal), 0);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
        (void)testing::internal::GetCapturedStderr();
        EXPECT_EQ(NamesIn(server.SocketFolder()).size(), 0U);
    }
}

/// Of nbdkit's status, in KiB.
std::uint64_t StatusOf(const CServer& server, const std::string& name) {
    std::ifstream status("/proc/" + std::to_string(server.Nbdkit()) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name + ":")) {
            return std::stoull(line.substr(name.size() + 1));
        }
    }
    return 0;
}

/// A socket; and a pipe where nbdkit may work on several requests of a client at a time.
std::size_t DescriptorsOfAClient() {
    return IsNbdkit132() ? 1 : 3;
}

std::size_t DescriptorsOf(const CServer& server) {
    return NamesIn("/proc/" + std::to_string(server.Nbdkit()) + "/fd").size();
}

/// Reads all of the disk in pieces of this size, by one client; whether it is as it should be.
bool ReadsAll(CNbdClient& client, const CBytes& expected, std::uint32_t piece) {
    CBytes content;
    while (content.size() < expected.size()) {
        const CBytes bytes = client.Read(content.size(), piece);
        if (bytes.empty()) {
            return false;
        }
        content.insert(content.end(), bytes.begin(), bytes.end());
    }
    return content == expected;
}

/// A chain of which every file has the whole disk in partially present blocks, and so is asked for
/// its bitmap at each of these places: twice as many pieces of bitmaps as a reader keeps.
void WriteChainOfBitmaps(const std::filesystem::path& folder, std::size_t files) {
    constexpr std::uint64_t blockSize = 256 * MiB;
    constexpr std::uint64_t blocks = 16;
    for (std::size_t file = 0; file < files; ++file) {
        CChainModel chain;
        for (std::size_t older = 0; older <= file; ++older) {
            chain.AddDisk(CDiskShape().Size(0).BlockSize(blockSize));
        }
        CImageBuilder& builder = chain.Builder().VirtualSize(blocks * blockSize);
        if (file != 0) {
            builder.AllocateSectorBitmap(0, CBytes(MiB));
        }
        for (std::uint64_t block = 0; block < blocks && file != 0; ++block) {
            builder.PayloadBlock(block, 7, 8 + block * blockSize / MiB);
        }
        builder.FileSize(8 * MiB + blocks * blockSize)
            .Build()
            .WriteTo(folder / CChainModel::Name(file));
    }
}

TEST_F(ServeClients, OfManyBitmapsTakeLittleMemory) {
    WriteChainOfBitmaps(m_folder.Path(), 31);
    CServer server({Path("30.avhdx")});
    ASSERT_TRUE(server.IsListening());
    std::vector<std::thread> threads;
    std::vector<int> right(32);
    threads.reserve(right.size());
    for (int& isRight : right) {
        threads.emplace_back([&server, &isRight] {
            CNbdClient client(server.Socket());
            isRight = client.Negotiate() ? 1 : 0;
            for (std::uint64_t place = 0; place < 64 && isRight != 0; ++place) {
                isRight = client.Read(place * 64 * MiB, 65536) == CBytes(65536) ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(right, std::vector<int>(32, 1));
    EXPECT_GT(StatusOf(server, "VmHWM"), 16U * 1000);  // a reader has all of the bitmaps it keeps
    if (!hasShadowMemory) {
        EXPECT_LT(StatusOf(server, "VmHWM"), 100U * 1000);
    }
    RecordProperty("peak_kib", static_cast<int>(StatusOf(server, "VmHWM")));
}

TEST_F(ServeClients, OfALongChainTakeFewDescriptorsAndLittleMemory) {
    constexpr std::size_t files = 31;
    constexpr std::size_t count = 32;
    m_chain.AddDisk(CDiskShape().Size(8 * MiB)).Present(1, 1).Present(5, 2);
    for (std::size_t file = 1; file < files; ++file) {
        m_chain.AddDisk(CDiskShape().Size(8 * MiB));
        m_chain.Partial(file % 8, file + 2, {file, file + 40, 1000 + 2 * file});
        m_chain.Partial((file + 3) % 8, file + 50, {2 * file});
    }
    m_chain.WriteTo(m_folder.Path());
    CServer server({Path("30.avhdx")});
    ASSERT_TRUE(server.IsListening());
    CClients clients;
    for (std::size_t client = 0; client < count; ++client) {
        clients.push_back(std::make_unique<CNbdClient>(server.Socket()));
        ASSERT_TRUE(clients.back()->Negotiate());
    }
    std::vector<std::thread> threads;
    std::vector<int> right(count);
    threads.reserve(count);
    for (std::size_t client = 0; client < count; ++client) {
        threads.emplace_back([&, client] {
            right[client] = ReadsAll(*clients[client], m_chain.Content(), 256 * KiB);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(right, std::vector<int>(count, 1));
    EXPECT_GT(DescriptorsOf(server), count);
    EXPECT_LE(DescriptorsOf(server), files + count * DescriptorsOfAClient() + 20);
    EXPECT_GT(StatusOf(server, "VmHWM"), 0U);
    if (!hasShadowMemory) {
        EXPECT_LT(StatusOf(server, "VmHWM"), 100U * 1000);
    }
    RecordProperty("descriptors", static_cast<int>(DescriptorsOf(server)));
    RecordProperty("peak_kib", static_cast<int>(StatusOf(server, "VmHWM")));
}

}  // namespace
}  // namespace NTest
