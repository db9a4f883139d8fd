// Disks that change while `vhdx serve` has them open.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "tests/nbdkit/nbd_client.h"
#include "tests/nbdkit/server.h"
#include "tests/support/chain_model.h"

namespace NTest {
namespace {

bool IsAnswered(const CServer& server) {
    return CNbdClient(server.Socket()).Negotiate();
}

/// As whoever opens a disk for writing does: a new current header, in its place in the file.
void OpenForWriting(const std::filesystem::path& disk) {
    CHeader header;
    header.sequenceNumber = 9;
    const CBytes bytes = header.Bytes();
    std::fstream file(disk, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(128 * KiB);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

class ServeChanged : public testing::Test {
protected:
    void SetUp() override {
        CChainModel chain;
        chain.AddDisk(CDiskShape().Size(8 * MiB)).Present(1, 1);
        chain.AddDisk(CDiskShape().Size(8 * MiB)).Present(2, 2);
        chain.WriteTo(m_folder.Path());
    }
    std::string Path(const std::string& name) const { return (m_folder / name).string(); }

    /// What the server says when it is asked by two clients, between whom the file changes.
    std::string Said(const std::vector<std::string>& arguments, const std::string& file,
                     bool isAnswered) const {
        testing::internal::CaptureStderr();
        {
            CServer server(arguments);
            EXPECT_TRUE(server.IsListening());
            EXPECT_TRUE(IsAnswered(server));
            OpenForWriting(Path(file));
            EXPECT_EQ(IsAnswered(server), isAnswered);
            EXPECT_EQ(IsAnswered(server), isAnswered);
            EXPECT_TRUE(server.IsRunning());
        }
        return testing::internal::GetCapturedStderr();
    }

    CTemporaryFolder m_folder;
};

TEST_F(ServeChanged, IsRefusedToNewClients) {
    const std::string said = Said({Path("1.avhdx")}, "1.avhdx", false);
    EXPECT_NE(said.find("error: \"" + Path("1.avhdx") + "\": "), std::string::npos) << said;
    EXPECT_NE(said.find("; live=true serves it all the same\n"), std::string::npos) << said;
}

TEST_F(ServeChanged, IsRefusedWhereOnlyAParentChanged) {
    const std::string said = Said({Path("1.avhdx")}, "0.vhdx", false);
    EXPECT_NE(said.find("error: \"" + Path("0.vhdx") + "\": "), std::string::npos) << said;
}

TEST_F(ServeChanged, IsServedOnRequestAndOneLineSaysSo) {
    const std::string said = Said({Path("1.avhdx"), "--live"}, "1.avhdx", true);
    EXPECT_NE(said.find("nbdkit: vhdx: \"" + Path("1.avhdx") + "\": "), std::string::npos) << said;
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
}

TEST_F(ServeChanged, IsNotWhatALaterClientIsRefusedForWhenItStays) {
    const CServer server({Path("1.avhdx")});
    ASSERT_TRUE(server.IsListening());
    for (int client = 0; client < 5; ++client) {
        EXPECT_TRUE(IsAnswered(server));
    }
}

}  // namespace
}  // namespace NTest
