// What vhdx diff says of a chain by the published rules, and which chain of a folder it takes.

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/log_builder.h"
#include "tests/support/temporary_folder.h"
#include "tests/tool/chain_disks.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

using CJson = nlohmann::json;

CJson Data(std::uint64_t start, std::uint64_t length, const char* file, std::uint64_t offset) {
    return {{"start", start}, {"length", length}, {"kind", "data"},
            {"file", file},   {"offset", offset}, {"in_log", false}};
}

CJson Zeros(std::uint64_t start, std::uint64_t length, const char* file) {
    return {{"start", start}, {"length", length},  {"kind", "zeros"},
            {"file", file},   {"offset", nullptr}, {"in_log", false}};
}

class Diff : public testing::Test {
protected:
    Diff() { WriteChain(m_folder.Path()); }

    void Add(const std::filesystem::path& name, const CImageBuilder& disk) const {
        disk.Build().WriteTo(m_folder / name);
    }

    CChildResult Run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "diff");
        return RunVhdxIn(m_folder.Path(), arguments);
    }

    CJson Changes(std::vector<std::string> arguments, const std::string& errors = "") const {
        arguments.push_back("--json");
        const CChildResult result = Run(arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.errors, errors);
        return CJson::parse(result.output);
    }

    void ExpectRefusal(const std::vector<std::string>& arguments, const std::string& line) const {
        const CChildResult result = Run(arguments);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "vhdx: " + line + "\n");
    }

    CTemporaryFolder m_folder;
    CImageBuilder m_first = ChainFirst();
    CImageBuilder m_second = ChainSecond();
};

TEST_F(Diff, ListsTheNewestHolderOfEachRunOfTheDisk) {
    EXPECT_EQ(
        Changes({"."}),
        CJson::array({Data(MiB, MiB, "first.avhdx", m_first.BlockPosition(1)),
                      Data(5 * MiB, 4096, "first.avhdx", m_first.BlockPosition(5)),
                      Data(5 * MiB + 4096, 8192, "second.avhdx", m_second.BlockPosition(5) + 4096),
                      Data(6 * MiB, MiB, "second.avhdx", m_second.BlockPosition(6))}));
}

TEST_F(Diff, ReadsBitmapsLeastSignificantBitFirst) {
    CImageBuilder newest = ChildDisk('2', '1', u"first.avhdx");
    newest.AllocateSectorBitmap(0, CBytes{0x06}).AllocatePartialData(0, 33);
    Add("second.avhdx", newest);
    EXPECT_EQ(Changes({".", "--length", "1M"}),
              CJson::array({Data(512, 1024, "second.avhdx", newest.BlockPosition(0) + 512)}));
}

TEST_F(Diff, ListsZerosThatHideTheBase) {
    CImageBuilder newest = ChildDisk('2', '1', u"first.avhdx");
    newest.PayloadBlock(0, 2, 0).PayloadBlock(1, 3, 0).PayloadBlock(5, 1, 0);
    Add("second.avhdx", newest);
    EXPECT_EQ(Changes({"."}), CJson::array({Zeros(0, 2 * MiB, "second.avhdx"),
                                            Zeros(5 * MiB, MiB, "second.avhdx")}));
    EXPECT_EQ(Run({".", "--offset", "5M"}).output,
              "            start             length              kind          file offset  file\n"
              "          5242880            1048576       1 MiB  zeros                   -  "
              "second.avhdx\n");
}

TEST_F(Diff, KnowsWhatAPendingLogHolds) {
    CImageBuilder newest = ChildDisk('2', '1', u"first.avhdx");
    newest.AllocateData(3, 33);
    CBytes table(4096);
    Put64(table, 8, newest.BlockPosition(3) | 6);  // block 1 instead of block 3
    newest.LogAt(logGuid, MiB, 1048576)
        .Bytes(MiB, CLogEntryBuilder(3)
                        .Page(newest.BatPosition(), table)
                        .FileOffsets(5 * MiB, 5 * MiB)
                        .Bytes());
    Add("second.avhdx", newest);
    const std::string note =
        "vhdx: second.avhdx: log: 1 entry replayed in memory, the file is not changed\n";
    EXPECT_EQ(Changes({".", "--length", "5M"}, note),
              CJson::array({Data(MiB, MiB, "second.avhdx", newest.BlockPosition(3))}));
    EXPECT_EQ(Changes({".", "--length", "5M", "--no-replay"}),
              CJson::array({Data(MiB, MiB, "first.avhdx", m_first.BlockPosition(1)),
                            Data(3 * MiB, MiB, "second.avhdx", newest.BlockPosition(3))}));
}

TEST_F(Diff, IsOfARangeOfTheVirtualDisk) {
    EXPECT_EQ(
        Changes({".", "--offset", "1049K", "--length", "1000"}),
        CJson::array({Data(1049 * KiB, 1000, "first.avhdx", m_first.BlockPosition(1) + 25 * KiB)}));
    EXPECT_EQ(Changes({".", "--offset", "7M"}), CJson::array());
    EXPECT_EQ(Changes({".", "--offset", "8M"}), CJson::array());
    EXPECT_EQ(Changes({".", "--length", "1M"}), CJson::array());
    ExpectRefusal({".", "--offset", "7M", "--length", "2M"},
                  ".: the range of 2097152 bytes from 7340032 ends past the end of the disk, which "
                  "has 8388608 bytes");
    EXPECT_EQ(Run({".", "--offset", "x"}).status, 2);
}

TEST_F(Diff, IsOfTheChainBelowAFile) {
    EXPECT_EQ(Changes({"second.avhdx", "--length", "2M"}),
              CJson::array({Data(MiB, MiB, "first.avhdx", m_first.BlockPosition(1))}));
    EXPECT_EQ(Changes({"disk.vhdx"}), CJson::array());
}

TEST_F(Diff, TellsWhatChangedSinceACheckpoint) {
    const CJson expected =
        CJson::array({Data(5 * MiB + 4096, 8192, "second.avhdx", m_second.BlockPosition(5) + 4096),
                      Data(6 * MiB, MiB, "second.avhdx", m_second.BlockPosition(6))});
    EXPECT_EQ(Changes({".", "--base", "first.avhdx"}), expected);
    EXPECT_EQ(Changes({".", "--base", "second.avhdx"}), CJson::array());
    ExpectRefusal({"second.avhdx", "--base", "other.vhdx"},
                  "second.avhdx: the chain has no disk other.vhdx; it has, newest first: "
                  "second.avhdx, first.avhdx, disk.vhdx");
}

TEST_F(Diff, OfATreeIsOfTheDiskThatIsChosen) {
    WriteFork(m_folder.Path());
    ExpectRefusal({"."},
                  ".: the folder has 2 disks that are the newest of a chain; choose one with "
                  "--disk: other.avhdx, second.avhdx");
    EXPECT_EQ(Changes({".", "--disk", "other.avhdx", "--base", "first.avhdx"}),
              CJson::array({Data(2 * MiB, MiB, "other.avhdx",
                                 ChildDisk('3', '1', u"").AllocateData(2, 34).BlockPosition(2))}));
    EXPECT_EQ(Changes({".", "--disk", "first.avhdx"}).size(), 2U);
    EXPECT_EQ(Changes({".", "--base", "second.avhdx"}), CJson::array());
}

TEST_F(Diff, OfSeveralChainsIsOfTheOneWhoseBaseIsNamed) {
    Add("another.vhdx", ChainBase());
    ExpectRefusal({"."},
                  ".: the folder has 2 disks that are the newest of a chain; choose one with "
                  "--disk: another.vhdx, second.avhdx");
    EXPECT_EQ(Changes({".", "--base", "another.vhdx"}), CJson::array());
    EXPECT_EQ(Changes({".", "--base", "disk.vhdx"}).size(), 4U);
    ExpectRefusal({".", "--base", "gone.vhdx"},
                  ".: no chain of the folder has a disk gone.vhdx; their newest disks are: "
                  "another.vhdx, second.avhdx");
}

TEST_F(Diff, IsNotKeptFromItsAnswerByABadFileElsewhere) {
    std::ofstream(m_folder / "text.vhdx") << std::string(1000, 'x');
    EXPECT_EQ(Changes({"."},
                      "vhdx: text.vhdx is left out: this is no VHDX disk: the file does not begin "
                      "with \"vhdxfile\"\n")
                  .size(),
              4U);
    EXPECT_EQ(Changes({".", "--disk", "second.avhdx"}).size(), 4U);
}

TEST_F(Diff, FollowsNamesBeyondAscii) {
    std::filesystem::remove(m_folder / "disk.vhdx");
    std::filesystem::remove(m_folder / "second.avhdx");
    const std::u16string base = u"\u65E5\u672C \U0001F4BE.vhdx";
    Add(base, ChainBase());
    CImageBuilder child = ChildDisk('1', '0', base).AllocateData(1, 32);
    Add("first.avhdx", child);
    EXPECT_EQ(Changes({"."}),
              CJson::array({Data(MiB, MiB, "first.avhdx", child.BlockPosition(1))}));
}

TEST_F(Diff, NamesTheFileThatIsBad) {
    Add("first.avhdx", ChainFirst().BatLength(8));
    ExpectRefusal({"."},
                  "second.avhdx: \"first.avhdx\": the block allocation table is too short, cannot "
                  "be read or has an impossible entry");
    Add("first.avhdx",
        ChildDisk('1', '0', u"disk.vhdx").AllocatePartialData(5, 32).SectorBitmapBlock(0, 6, 1000));
    ExpectRefusal({"."},
                  "first.avhdx: block 5 is partially present, and the sector bitmap of "
                  "chunk 0 cannot be read");
}

TEST_F(Diff, NeedsADiskThatCanBeRead) {
    const std::filesystem::path folder = m_folder / "empty";
    std::filesystem::create_directory(folder);
    ExpectRefusal({"empty"}, "empty: the folder holds no disk");
    std::ofstream(folder / "text.vhdx") << std::string(1000, 'x');
    ExpectRefusal(
        {"empty"},
        "empty/text.vhdx: this is no VHDX disk: the file does not begin with \"vhdxfile\"");
    std::filesystem::remove(folder / "text.vhdx");
    ChildDisk('1', '1', u"own.avhdx").Build().WriteTo(folder / "own.avhdx");
    ExpectRefusal({"empty"},
                  "empty: no disk of the folder is the newest of a chain; 'vhdx chain' tells why");
    ExpectRefusal({"none"}, "none: there is no such file");
    ExpectRefusal({".", "--disk", "none.avhdx"}, "none.avhdx: there is no such file");
}

TEST_F(Diff, EndsQuietlyWhenNobodyReadsIt) {
    CChildOptions options;
    options.folder = m_folder.Path();
    options.closeOutput = true;
    for (const char* what : {"--json", "--library"}) {
        const CChildResult result = RunVhdx({"diff", ".", what}, options);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.errors, "");
    }
}

}  // namespace
}  // namespace NTest
