#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <sys/stat.h>
#endif

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/file_content.h"
#include "tests/support/temporary_folder.h"
#include "tests/tool/test_disks.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

namespace fs = std::filesystem;

class OutputFile : public testing::Test {
protected:
    OutputFile() { DynamicDisk().Build().WriteTo(m_folder / "disk.vhdx"); }

    CChildResult ReadTo(const std::string& output, const std::string& offset = "0",
                        const std::string& length = "10485248") const {
        return RunVhdxIn(m_folder.Path(), {"read", "disk.vhdx", "--offset", offset, "--length",
                                           length, "-o", output});
    }

    std::string Content(const std::string& name) const { return FileText(m_folder / name); }

    /// The names in the folder besides the disk's.
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const fs::directory_entry& entry : fs::directory_iterator(m_folder.Path())) {
            if (entry.path().filename() != "disk.vhdx") {
                names.push_back(entry.path().filename().string());
            }
        }
        return names;
    }

    CTemporaryFolder m_folder;
};

TEST_F(OutputFile, HoldsWhatStandardOutputWouldGet) {
    const CChildResult toOutput =
        RunVhdxIn(m_folder.Path(), {"read", "disk.vhdx", "--offset", "0", "--length", "10485248"});
    const CChildResult toFile = ReadTo("out.bin");
    EXPECT_EQ(toFile.status, 0) << toFile.errors;
    EXPECT_EQ(toFile.output, "");
    EXPECT_TRUE(Content("out.bin") == toOutput.output);
    EXPECT_EQ(Names(), std::vector<std::string>{"out.bin"});
}

TEST_F(OutputFile, HoldsZerosOfAbsentBlocksAtStartAndEnd) {
    ASSERT_EQ(ReadTo("out.bin", "5M", "4M").status, 0);
    EXPECT_TRUE(Content("out.bin") == std::string(4 * MiB, '\0'));
    ASSERT_EQ(ReadTo("out.bin", "0", "1").status, 0);
    EXPECT_EQ(Content("out.bin"), std::string(1, '\0'));
    ASSERT_EQ(ReadTo("out.bin", "0", "0").status, 0);
    EXPECT_EQ(Content("out.bin"), "");
}

TEST_F(OutputFile, ReplacesAnOlderFileAndKeepsItsPermissions) {
    std::ofstream(m_folder / "out.bin") << "older";
    fs::permissions(m_folder / "out.bin", fs::perms::owner_read | fs::perms::owner_write);
    // What Windows makes of them is not what was asked for.
    const fs::perms before = fs::status(m_folder / "out.bin").permissions();
    ASSERT_EQ(ReadTo("out.bin", "1M", "4K").status, 0);
    EXPECT_EQ(Content("out.bin").size(), 4096U);
    EXPECT_EQ(fs::status(m_folder / "out.bin").permissions(), before);
    EXPECT_EQ(Names(), std::vector<std::string>{"out.bin"});
}

#if !defined(_WIN32)
TEST_F(OutputFile, ReplacesTheTargetOfALinkAndKeepsTheLink) {
    std::ofstream(m_folder / "target.bin") << "older";
    fs::create_symlink("target.bin", m_folder / "link.bin");
    ASSERT_EQ(ReadTo("link.bin", "1M", "4K").status, 0);
    EXPECT_TRUE(fs::is_symlink(m_folder / "link.bin"));
    EXPECT_EQ(Content("target.bin").size(), 4096U);
}
#endif

TEST_F(OutputFile, StaysAsItWasWhenTheDiskCannotBeRead) {
    std::ofstream(m_folder / "out.bin") << "older";
    DynamicDisk().FileSize(DynamicDisk().BlockPosition(4)).Build().WriteTo(m_folder / "disk.vhdx");
    const CChildResult result = ReadTo("out.bin");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(Content("out.bin"), "older");
    EXPECT_EQ(Names(), std::vector<std::string>{"out.bin"});
}

TEST_F(OutputFile, IsNeverTheDiskItself) {
    const std::string before = Content("disk.vhdx");
    fs::create_hard_link(m_folder / "disk.vhdx", m_folder / "other.vhdx");
    for (const char* name : {"disk.vhdx", "./disk.vhdx", "other.vhdx"}) {
        const CChildResult result = ReadTo(name);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.errors,
                  "vhdx: " + std::string(name) + ": this is the disk file that is read\n");
    }
    EXPECT_TRUE(Content("disk.vhdx") == before);
}

TEST_F(OutputFile, CannotBeAFolderOrInAFolderThatIsNotThere) {
    fs::create_directory(m_folder / "folder");
    const CChildResult folder = ReadTo("folder");
    EXPECT_EQ(folder.status, 1);
    EXPECT_EQ(folder.errors, "vhdx: folder: this is a folder\n");
    const CChildResult nowhere = ReadTo("nowhere/out.bin");
    EXPECT_EQ(nowhere.status, 1);
    EXPECT_EQ(nowhere.errors,
              "vhdx: nowhere/out.bin: cannot be written: No such file or directory\n");
}

#if !defined(_WIN32)
TEST_F(OutputFile, LeavesADeviceInItsPlace) {
    ASSERT_EQ(ReadTo("/dev/null").status, 0);
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}
#endif

#if !defined(_WIN32)
TEST_F(OutputFile, ReportsAFullDisk) {
    const CChildResult result = ReadTo("/dev/full");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "vhdx: /dev/full: cannot be written: No space left on device\n");
}
#endif

TEST_F(OutputFile, TakesAMinusForStandardOutput) {
    const CChildResult result = ReadTo("-", "1M", "4K");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output.size(), 4096U);
    EXPECT_EQ(Names(), std::vector<std::string>{});
}

TEST_F(OutputFile, DoesNotTakeThePlaceOfAnUnfinishedOne) {
    std::ofstream(m_folder / "out.bin.part0") << "somebody else's";
    ASSERT_EQ(ReadTo("out.bin", "1M", "4K").status, 0);
    EXPECT_EQ(Content("out.bin.part0"), "somebody else's");
    EXPECT_EQ(Content("out.bin").size(), 4096U);
}

}  // namespace
}  // namespace NTest
