// Disks whose log has entries that nobody has written into the file yet.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/file_content.h"
#include "tests/support/log_builder.h"
#include "tests/support/temporary_folder.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

/// 4 MiB, data in block 1; the log writes a page into it.
CImageBuilder DirtyDisk(bool spoilt = false) {
    CImageBuilder disk;
    disk.VirtualSize(4 * MiB).AllocateData(1, 7);
    CLogEntryBuilder entry(3);
    entry.Page(disk.BlockPosition(1) + 8192, Pattern(9, 0, 4096)).FileOffsets(5 * MiB, 5 * MiB);
    CLogImage log;
    log.Put(0, entry.Bytes());
    if (spoilt) {
        log.Spoil(4096);
    }
    return disk.LogAt(logGuid, MiB, 1048576).Bytes(MiB, log.Bytes());
}

class Replay : public testing::Test {
protected:
    CChildResult Run(const std::vector<std::string>& arguments) const {
        return RunVhdxIn(m_folder.Path(), arguments);
    }

    /// Block 1 as it is with the entry written, or as it stands.
    static std::string Block(bool replayed) {
        CBytes block = Pattern(7, MiB, MiB);
        if (replayed) {
            PutBytes(block, 8192, Pattern(9, 0, 4096));
        }
        return std::string(block.begin(), block.end());
    }

    static constexpr const char* note =
        "vhdx: disk.vhdx: log: 1 entry replayed in memory, the file is not changed\n";
    const std::vector<std::string> m_read = {"read", "disk.vhdx", "--offset",
                                             "1M",   "--length",  "1M"};
    CTemporaryFolder m_folder;
};

TEST_F(Replay, HappensInMemoryAndIsSaid) {
    DirtyDisk().Build().WriteTo(m_folder / "disk.vhdx");
    const CBytes before = FileBytes(m_folder / "disk.vhdx");
    const CChildResult result = Run(m_read);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, note);
    EXPECT_TRUE(result.output == Block(true));
    EXPECT_TRUE(FileBytes(m_folder / "disk.vhdx") == before);
}

TEST_F(Replay, CanBeLeftOut) {
    DirtyDisk().Build().WriteTo(m_folder / "disk.vhdx");
    std::vector<std::string> arguments = m_read;
    arguments.push_back("--no-replay");
    const CChildResult result = Run(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_TRUE(result.output == Block(false));
}

TEST_F(Replay, IsSaidByEveryCommand) {
    DirtyDisk().Build().WriteTo(m_folder / "disk.vhdx");
    EXPECT_EQ(Run({"info", "disk.vhdx"}).errors, note);
    EXPECT_EQ(Run({"map", "disk.vhdx"}).errors, note);
    EXPECT_EQ(Run({"locate", "disk.vhdx", "--offset", "0", "--length", "1"}).errors, note);
    EXPECT_EQ(Run({"export", "disk.vhdx", "-o", "disk.raw"}).errors, note);
    EXPECT_EQ(Run({"chain", "."}).errors, note);
    EXPECT_EQ(Run({"diff", "disk.vhdx"}).errors, note);
    EXPECT_EQ(Run({"chain", ".", "--no-replay"}).errors, "");
}

TEST_F(Replay, IsNotForTheLibrarysOwnMerge) {
    DirtyDisk().Build().WriteTo(m_folder / "disk.vhdx");
    EXPECT_EQ(Run({"diff", ".", "--library"}).errors,
              "vhdx: disk.vhdx: log: 1 entry not in place yet, the file is read as it stands\n");
    EXPECT_EQ(Run({"diff", ".", "--library", "--no-replay"}).errors, "");
}

TEST_F(Replay, ThatIsNotPossibleCanBeLeftOutOfAChain) {
    DirtyDisk(true).Build().WriteTo(m_folder / "disk.vhdx");
    EXPECT_EQ(Run({"chain", "."}).output.substr(0, 27), "disk.vhdx  cannot be read\n\n");
    EXPECT_EQ(Run({"chain", ".", "--no-replay"}).output.substr(0, 18), "disk.vhdx  4 MiB\n\n");
}

TEST_F(Replay, ReachesTheExport) {
    DirtyDisk().Build().WriteTo(m_folder / "disk.vhdx");
    EXPECT_EQ(Run({"export", "disk.vhdx", "-o", "new.raw", "--verify"}).status, 0);
    EXPECT_EQ(Run({"export", "disk.vhdx", "-o", "old.raw", "--no-replay"}).status, 0);
    const CBytes replayed = FileBytes(m_folder / "new.raw");
    const CBytes standing = FileBytes(m_folder / "old.raw");
    ASSERT_EQ(replayed.size(), 4 * MiB);
    ASSERT_EQ(standing.size(), 4 * MiB);
    const auto block = [](const CBytes& raw) {
        return std::string(raw.begin() + MiB, raw.begin() + 2 * MiB);
    };
    EXPECT_TRUE(block(replayed) == Block(true));
    EXPECT_TRUE(block(standing) == Block(false));
}

/// The entry of the log gives block 0 a place that the file does not have.
TEST_F(Replay, CanBeLeftOutOfACheck) {
    CImageBuilder disk;
    disk.VirtualSize(4 * MiB).AllocateData(1, 7);
    CBytes table(4096);
    Put64(table, 0, 50 * MiB | 6);
    Put64(table, 8, disk.BlockPosition(1) | 6);
    disk.LogAt(logGuid, MiB, 1048576)
        .Bytes(MiB, CLogEntryBuilder(3)
                        .Page(disk.BatPosition(), table)
                        .FileOffsets(5 * MiB, 5 * MiB)
                        .Bytes());
    disk.Build().WriteTo(m_folder / "disk.vhdx");
    const std::string pending =
        "disk.vhdx: log: needs replay: 1 entry is not in place yet; the disk is in use or was not "
        "closed, and read as it stands it gives old data (log-pending)\n";
    const CChildResult replayed = Run({"check", "disk.vhdx"});
    EXPECT_EQ(replayed.status, 1);
    EXPECT_EQ(replayed.output.substr(0, pending.size()), pending);
    EXPECT_NE(replayed.output.find("disk.vhdx: block 0, entry at offset 3145728: "),
              std::string::npos)
        << replayed.output;
    const CChildResult standing = Run({"check", "disk.vhdx", "--no-replay"});
    EXPECT_EQ(standing.status, 1);
    EXPECT_EQ(standing.output, pending);
}

TEST_F(Replay, ThatIsNotPossibleIsRefused) {
    DirtyDisk(true).Build().WriteTo(m_folder / "disk.vhdx");
    const CChildResult result = Run(m_read);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors,
              "vhdx: disk.vhdx: the log cannot be replayed: it holds no valid sequence of entries "
              "(--no-replay shows the file as it stands)\n");
    std::vector<std::string> arguments = m_read;
    arguments.push_back("--no-replay");
    EXPECT_TRUE(Run(arguments).output == Block(false));
}

TEST_F(Replay, NeedsAHeaderWithARightChecksum) {
    CImageBuilder()
        .EditHeaders([](CHeader& header) { header.checksum = 1; })
        .Build()
        .WriteTo(m_folder / "disk.vhdx");
    const CChildResult result = Run({"info", "disk.vhdx"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors,
              "vhdx: disk.vhdx: neither header of the file is valid (--no-replay shows the file as "
              "it stands)\n");
    EXPECT_EQ(Run({"info", "disk.vhdx", "--no-replay"}).status, 0);
}

}  // namespace
}  // namespace NTest
