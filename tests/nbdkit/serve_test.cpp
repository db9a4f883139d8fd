// What nbdinfo, nbdcopy and qemu-img get from `vhdx serve`, against the model of the chain.

#include <gtest/gtest.h>

#include <fstream>
#include <thread>

#include <sys/stat.h>
#include <nlohmann/json.hpp>

#include "tests/nbdkit/server.h"
#include "tests/support/chain_model.h"
#include "tests/support/file_content.h"
#include "tests/support/log_builder.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

CChainModel PlainDisk() {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(8 * MiB - 512)).Present(1, 1).Present(2, 2).Present(7, 3);
    return chain;
}

/// Zero blocks over data, single sectors, and a disk that grew.
CChainModel Checkpoints() {
    CChainModel chain = PlainDisk();
    chain.AddDisk(CDiskShape().Size(8 * MiB - 512));
    chain.Partial(1, 5, {0, 1, 2047}).Partial(4, 6, {9}).Empty(2, CChainModel::zero, false);
    chain.AddDisk(CDiskShape().Size(12 * MiB)).Partial(1, 7, {1, 2}).Present(11, 8);
    return chain;
}

class Serve : public testing::Test {
protected:
    std::string Path(const std::string& name) const { return (m_folder / name).string(); }

    void ExpectRuns(const std::vector<std::string>& command) const {
        const CChildResult result = RunChild(command);
        EXPECT_EQ(result.status, 0) << command[0] << ": " << result.errors;
    }

    void ExpectServed(const CServer& server, const CChainModel& chain) const {
        ASSERT_TRUE(server.IsListening());
        const CChildResult size = RunChild({"nbdinfo", "--size", server.Uri()});
        EXPECT_EQ(size.output, std::to_string(chain.Content().size()) + "\n") << size.errors;
        ExpectRuns({"nbdcopy", server.Uri(), Path("nbdcopy.raw")});
        EXPECT_TRUE(FileBytes(Path("nbdcopy.raw")) == chain.Content());
        ExpectRuns({"qemu-img", "convert", "-O", "raw", server.Uri(), Path("qemu.raw")});
        EXPECT_TRUE(FileBytes(Path("qemu.raw")) == chain.Content());
    }

    CTemporaryFolder m_folder;
};

TEST_F(Serve, GivesAPlainDisk) {
    const CChainModel chain = PlainDisk();
    chain.WriteTo(m_folder.Path());
    ExpectServed(CServer({Path("0.vhdx")}), chain);
}

TEST_F(Serve, GivesAChainByItsNewestFile) {
    const CChainModel chain = Checkpoints();
    chain.WriteTo(m_folder.Path());
    ExpectServed(CServer({Path("2.avhdx")}), chain);
}

TEST_F(Serve, GivesAnyDiskOfAFolder) {
    const CChainModel chain = Checkpoints();
    chain.WriteTo(m_folder.Path());
    ExpectServed(CServer({m_folder.Narrow(), "--disk", "2.avhdx"}), chain);
    ExpectServed(CServer({m_folder.Narrow(), "--disk", "0.vhdx"}), PlainDisk());
}

TEST_F(Serve, TellsDataZerosAndHolesApart) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(4 * MiB)).Present(0, 1).Present(1, 2);
    chain.AddDisk(CDiskShape().Size(4 * MiB)).Empty(1, CChainModel::zero, false);
    chain.WriteTo(m_folder.Path());
    const CServer server({Path("1.avhdx")});
    const CChildResult map = RunChild({"nbdinfo", "--map", "--json", server.Uri()});
    ASSERT_EQ(map.status, 0) << map.errors;
    const auto extents = nlohmann::json::parse(map.output);
    ASSERT_EQ(extents.size(), 3U) << map.output;
    const std::uint64_t offsets[] = {0, MiB, 2 * MiB};
    const int types[] = {0, 2, 3};  // data; zero; hole and zero
    for (std::size_t at = 0; at < 3; ++at) {
        EXPECT_EQ(extents[at]["offset"], offsets[at]);
        EXPECT_EQ(extents[at]["type"], types[at]);
    }
}

TEST_F(Serve, KeepsCopiesSparse) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(64 * MiB)).Present(40, 1);
    chain.WriteTo(m_folder.Path());
    const CServer server({Path("0.vhdx")});
    ExpectRuns({"nbdcopy", server.Uri(), Path("copy.raw")});
    struct stat copy = {};
    ASSERT_EQ(stat(Path("copy.raw").c_str(), &copy), 0);
    EXPECT_EQ(static_cast<std::uint64_t>(copy.st_size), 64 * MiB);
    EXPECT_LE(static_cast<std::uint64_t>(copy.st_blocks) * 512, 2 * MiB);
    EXPECT_TRUE(FileBytes(Path("copy.raw")) == chain.Content());
}

TEST_F(Serve, IsReadOnlyAndTakesSeveralConnections) {
    PlainDisk().WriteTo(m_folder.Path());
    const CServer server({Path("0.vhdx")});
    const CChildResult info = RunChild({"nbdinfo", "--json", server.Uri()});
    ASSERT_EQ(info.status, 0) << info.errors;
    const auto exported = nlohmann::json::parse(info.output)["exports"][0];
    EXPECT_EQ(exported["is_read_only"], true);
    EXPECT_EQ(exported["can_multi_conn"], true);
}

TEST_F(Serve, AnswersManyClientsAtOnce) {
    const CChainModel chain = Checkpoints();
    chain.WriteTo(m_folder.Path());
    const CServer server({Path("2.avhdx")});
    std::vector<std::thread> clients;
    std::vector<CBytes> contents(4);
    for (std::size_t client = 0; client < contents.size(); ++client) {
        clients.emplace_back([&, client] {
            const std::string copy = Path(std::to_string(client) + ".raw");
            (void)RunChild({"nbdcopy", "--connections=4", "--requests=16", "--request-size=4096",
                            server.Uri(), copy});
            contents[client] = FileBytes(copy);
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    for (const CBytes& content : contents) {
        EXPECT_TRUE(content == chain.Content());
    }
}

TEST_F(Serve, ReplaysTheLogInMemoryAndSaysSo) {
    CBytes page(4096);
    Put64(page, 0, 6 | 5 * MiB);  // block 0 is present in MiB 5
    const CBytes entry =
        CLogEntryBuilder(1).Page(3 * MiB, page).FileOffsets(6 * MiB, 6 * MiB).Bytes();
    CImageBuilder()
        .VirtualSize(MiB)
        .Bytes(5 * MiB, Pattern(4, 0, MiB))
        .Log(logGuid, entry)
        .Build()
        .WriteTo(m_folder / "disk.vhdx");
    const CBytes before = FileBytes(Path("disk.vhdx"));
    testing::internal::CaptureStderr();
    {
        const CServer server({Path("disk.vhdx")});
        ExpectRuns({"nbdcopy", server.Uri(), Path("copy.raw")});
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "nbdkit: vhdx: log: 1 entry replayed in memory, the file is not changed\n");
    EXPECT_TRUE(FileBytes(Path("copy.raw")) == Pattern(4, 0, MiB));
    EXPECT_TRUE(FileBytes(Path("disk.vhdx")) == before);
}

TEST_F(Serve, ShowsTheFileAsItStandsOnRequest) {
    CBytes page(4096);
    Put64(page, 0, 6 | 5 * MiB);  // block 0 is present in MiB 5
    CImageBuilder()
        .VirtualSize(MiB)
        .Bytes(5 * MiB, Pattern(4, 0, MiB))
        .Log(logGuid, CLogEntryBuilder(1).Page(3 * MiB, page).FileOffsets(6 * MiB, 6 * MiB).Bytes())
        .Build()
        .WriteTo(m_folder / "disk.vhdx");
    const CServer server({Path("disk.vhdx"), "--no-replay"});
    ExpectRuns({"nbdcopy", server.Uri(), Path("copy.raw")});
    EXPECT_TRUE(FileBytes(Path("copy.raw")) == CBytes(MiB));
}

TEST_F(Serve, LooksForParentsAtTheirOtherPathsOnRequest) {
    CChainModel chain = PlainDisk();
    chain.AddDisk(CDiskShape().Size(8 * MiB - 512)).Present(3, 9);
    chain.WriteTo(m_folder.Path());
    std::filesystem::create_directory(m_folder / "far");
    std::filesystem::rename(m_folder / "0.vhdx", m_folder / "far" / "0.vhdx");
    chain.Builder().ParentLocator(
        {{u"parent_linkage", CChainModel::LinkageText(0)},
         {u"relative_path", u".\\0.vhdx"},
         {u"absolute_win32_path", (m_folder / "far" / "0.vhdx").u16string()}});
    chain.Builder().Build().WriteTo(m_folder / "1.avhdx");
    EXPECT_EQ(RunChild(ServeCommand({Path("1.avhdx"), "--socket", Path("socket")})).status, 1);
    ExpectServed(CServer({Path("1.avhdx"), "--other-paths"}), chain);
}

TEST_F(Serve, RefusesAParentThatWasChangedUnlessItIsAccepted) {
    CChainModel chain = PlainDisk();
    chain.Builder().DataWriteGuid(NGuid::unknown);
    chain.AddDisk(CDiskShape().Size(8 * MiB - 512)).Present(3, 9);
    chain.WriteTo(m_folder.Path());
    const std::string reason = "\"" + Path("1.avhdx") + "\": the parent \"" + Path("0.vhdx") +
                               "\" was changed or replaced since the child was made: its "
                               "DataWriteGuid is not the child's parent linkage";
    const CChildResult refused =
        RunChild(ServeCommand({Path("1.avhdx"), "--socket", Path("socket")}));
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.errors,
              "nbdkit: error: " + reason + "; accept-changed-parent=true reads it all the same\n");
    testing::internal::CaptureStderr();
    ExpectServed(CServer({Path("1.avhdx"), "--accept-changed-parent"}), chain);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "nbdkit: vhdx: " + reason + "\n");
}

TEST_F(Serve, TellsNothingOfWhatLiesAtARecordedPath) {
    CChainModel chain = PlainDisk();
    chain.AddDisk(CDiskShape().Size(8 * MiB - 512));
    std::filesystem::create_directory(m_folder / "far");
    const std::string secret = Path("far/secret.vhdx");
    chain.Builder().ParentLocator(
        {{u"parent_linkage", CChainModel::LinkageText(0)},
         {u"relative_path", u"..\\secret.vhdx"},
         {u"absolute_win32_path", std::filesystem::path(secret).u16string()}});
    chain.WriteTo(m_folder.Path());
    const auto errors = [&] {
        const CChildResult result =
            RunChild(ServeCommand({Path("1.avhdx"), "--socket", Path("socket"), "--other-paths"}));
        EXPECT_EQ(result.status, 1);
        return result.errors;
    };
    const std::string nothing = "nbdkit: error: \"" + Path("1.avhdx") +
                                "\": the parent \"..\\secret.vhdx\" is missing (no disk with the "
                                "child's parent linkage lies at \"..\\secret.vhdx\" or \"" +
                                secret + "\")\n";
    EXPECT_EQ(errors(), nothing);
    ASSERT_EQ(mkfifo(secret.c_str(), S_IRUSR | S_IWUSR), 0);
    EXPECT_EQ(errors(), nothing);
    std::filesystem::remove(secret);
    CImageBuilder().Build().WriteTo(secret);
    EXPECT_EQ(errors(), nothing);
}

TEST_F(Serve, RefusesAParameterThatIsNoTruthValue) {
    PlainDisk().WriteTo(m_folder.Path());
    for (const char* parameter :
         {"replay=perhaps", "other-paths=perhaps", "accept-changed-parent=perhaps"}) {
        const CChildResult result =
            RunChild(PluginCommand({"nbdkit", "--foreground", "--unix=" + Path("socket"),
                                    VHDX_PARSER_PLUGIN, "file=" + Path("0.vhdx"), parameter}));
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.errors.find("perhaps"), std::string::npos) << result.errors;
    }
}

TEST_F(Serve, EndsCleanlyOnCtrlC) {
    PlainDisk().WriteTo(m_folder.Path());
    CServer server({Path("0.vhdx")});
    ASSERT_TRUE(server.IsListening());
    EXPECT_EQ(server.Stop(), 0);
}

TEST_F(Serve, ReplacesTheSocketOfAServerThatWasKilled) {
    const CChainModel chain = PlainDisk();
    chain.WriteTo(m_folder.Path());
    CServer killed({Path("0.vhdx"), "--socket", Path("socket")});
    ASSERT_TRUE(killed.IsListening());
    EXPECT_EQ(killed.Kill(), 128 + SIGKILL);
    ASSERT_TRUE(std::filesystem::is_socket(Path("socket")));
    ExpectServed(CServer({Path("0.vhdx"), "--socket", Path("socket")}), chain);
}

TEST_F(Serve, LeavesASocketOnWhichSomebodyListens) {
    const CChainModel chain = PlainDisk();
    chain.WriteTo(m_folder.Path());
    const CServer server({Path("0.vhdx"), "--socket", Path("socket")});
    ASSERT_TRUE(server.IsListening());
    const CChildResult second =
        RunChild(ServeCommand({Path("0.vhdx"), "--socket", Path("socket")}));
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.errors,
              "vhdx: " + Path("socket") + ": somebody listens on this socket already\n");
    ExpectServed(server, chain);
}

TEST_F(Serve, LeavesWhatIsNoSocket) {
    PlainDisk().WriteTo(m_folder.Path());
    std::ofstream(m_folder / "file") << "somebody's";
    std::filesystem::create_symlink("nothing.there", m_folder / "link");
    for (const char* name : {"file", "link"}) {
        const CChildResult result =
            RunChild(ServeCommand({Path("0.vhdx"), "--socket", Path(name)}));
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.errors,
                  "vhdx: " + Path(name) + ": this is there already and is no socket\n");
    }
    EXPECT_EQ(FileBytes(m_folder / "file").size(), 10U);
    EXPECT_TRUE(std::filesystem::is_symlink(m_folder / "link"));
    const std::string longName = Path(std::string(200, 'x'));
    EXPECT_EQ(RunChild(ServeCommand({Path("0.vhdx"), "--socket", longName})).errors,
              "vhdx: " + longName +
                  ": the path is too long for a socket; give it relative to the folder\n");
}

TEST_F(Serve, RefusesWhatItCannotServe) {
    Checkpoints().WriteTo(m_folder.Path());
    std::filesystem::remove(m_folder / "0.vhdx");
    const CChildResult broken =
        RunChild(ServeCommand({Path("1.avhdx"), "--socket", Path("socket")}));
    EXPECT_EQ(broken.status, 1);
    EXPECT_NE(broken.errors.find("0.vhdx"), std::string::npos) << broken.errors;

    PlainDisk()
        .Builder()
        .EditHeaders([](CHeader& header) { header.checksum = 1; })
        .Build()
        .WriteTo(m_folder / "headers.vhdx");
    const CChildResult headers =
        RunChild(ServeCommand({Path("headers.vhdx"), "--socket", Path("socket")}));
    EXPECT_EQ(headers.status, 1);
    EXPECT_NE(headers.errors.find("headers.vhdx\": neither header of the file is valid "
                                  "(replay=false shows the file as it stands)"),
              std::string::npos)
        << headers.errors;

    const CChildResult folder = RunVhdxIn(m_folder.Path(), {"serve", "."});
    EXPECT_EQ(folder.status, 1);
    EXPECT_EQ(folder.errors,
              "vhdx: .: this is a folder; --disk NAME says which of its disks is meant\n");
}

}  // namespace
}  // namespace NTest
