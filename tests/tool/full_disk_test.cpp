// Writing where no room is left: status 1, one line, and nothing unfinished stays behind.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"
#include "tests/tool/test_disks.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

class FullDisk : public testing::Test {
protected:
    FullDisk() {
        DynamicDisk().Build().WriteTo(m_folder / "disk.vhdx");
        std::filesystem::create_directory(m_folder / "full");
    }

    /// Runs the command where the folder "full" is a file system of 64 KiB; its output is what is
    /// left in that folder.
    CChildResult RunWithoutRoom(const std::vector<std::string>& arguments) const {
        std::vector<std::string> command = {"unshare",
                                            "-rm",
                                            "sh",
                                            "-c",
                                            "mount -t tmpfs -o size=64k tmpfs full || exit 99; "
                                            "\"$@\"; status=$?; ls -A full; exit $status",
                                            "sh",
                                            VHDX_PARSER_VHDX_COMMAND};
        command.insert(command.end(), arguments.begin(), arguments.end());
        CChildOptions options;
        options.folder = m_folder.Path();
        return RunChild(command, options);
    }

    CTemporaryFolder m_folder;
};

TEST_F(FullDisk, LeavesNothingUnfinishedBehind) {
    // Some systems allow no file systems of one's own.
    if (RunWithoutRoom({"info", "disk.vhdx"}).status != 0) {
        GTEST_SKIP() << "no file system can be mounted here";
    }
    const std::vector<std::vector<std::string>> commands = {
        {"read", "disk.vhdx", "--offset", "1M", "--length", "1M", "-o", "full/out"},
        {"export", "disk.vhdx", "-o", "full/out"},
        {"export", "disk.vhdx", "-o", "full/out", "--verify"}};
    for (const std::vector<std::string>& arguments : commands) {
        SCOPED_TRACE(arguments[0]);
        const CChildResult result = RunWithoutRoom(arguments);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "vhdx: full/out: cannot be written: No space left on device\n");
    }
}

TEST_F(FullDisk, IsToldByEveryCommandThatWritesAFile) {
    if (RunWithoutRoom({"info", "disk.vhdx"}).status != 0) {
        GTEST_SKIP() << "no file system can be mounted here";
    }
    DifferencingDisk().Build().WriteTo(m_folder / "child.avhdx");
    const std::string script =
        "mount -t tmpfs -o size=64k tmpfs full; cat /dev/zero >full/other 2>/dev/null; "
        "for arguments in 'save disk.vhdx' 'map disk.vhdx --svg' 'bitmap child.avhdx --chunk 0 -o' "
        "'read disk.vhdx --offset 1M --length 1M -o' 'export disk.vhdx -o'; do "
        "\"$0\" $arguments full/out 2>&1; echo $?; done; ls -A full";
    CChildOptions options;
    options.folder = m_folder.Path();
    const CChildResult result =
        RunChild({"unshare", "-rm", "sh", "-c", script, VHDX_PARSER_VHDX_COMMAND}, options);
    std::string expected;
    for (int command = 0; command < 5; ++command) {
        expected += "vhdx: full/out: cannot be written: No space left on device\n1\n";
    }
    EXPECT_EQ(result.output, expected + "other\n");
}

TEST_F(FullDisk, IsToldLikeALimitOfTheFilesSize) {
    CChildOptions options;
    options.folder = m_folder.Path();
    options.largestFile = 64 * KiB;
    const std::vector<std::vector<std::string>> commands = {
        {"read", "disk.vhdx", "--offset", "1M", "--length", "1M", "-o", "full/out"},
        {"export", "disk.vhdx", "-o", "full/out"}};
    for (const std::vector<std::string>& arguments : commands) {
        SCOPED_TRACE(arguments[0]);
        const CChildResult result = RunVhdx(arguments, options);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.errors, "vhdx: full/out: cannot be written: File too large\n");
        EXPECT_TRUE(std::filesystem::is_empty(m_folder / "full"));
    }
}

}  // namespace
}  // namespace NTest
