// What a power cut finds: bytes are made durable before they have a name, and names before the
// command ends. Seen from the calls that it makes.

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
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

class Durability : public testing::Test {
protected:
    Durability() { DynamicDisk().Build().WriteTo(m_folder / "disk.vhdx"); }

    /// Runs the command and keeps its calls; `folderError` is what making a folder durable ends
    /// with.
    CChildResult Run(const std::vector<std::string>& arguments, int folderError = 0) const {
        fs::remove(m_calls / "calls");
        const char* const sanitizer = std::getenv("ASAN_OPTIONS");
        std::vector<std::string> command = {
            "env", "LD_PRELOAD=" VHDX_PARSER_WATCH_DISK_CALLS,
            "VHDX_TEST_CALLS=" + (m_calls / "calls").string(),
            "ASAN_OPTIONS=verify_asan_link_order=0:" + std::string(sanitizer ? sanitizer : "")};
        if (folderError != 0) {
            command.push_back("VHDX_TEST_FOLDER_ERROR=" + std::to_string(folderError));
        }
        command.push_back(VHDX_PARSER_VHDX_COMMAND);
        command.insert(command.end(), arguments.begin(), arguments.end());
        CChildOptions options;
        options.folder = m_folder.Path();
        return RunChild(command, options);
    }

    /// Runs the command with these calls refused.
    CChildResult RunRefusing(const std::string& calls, int error,
                             const std::vector<std::string>& arguments) const {
        std::vector<std::string> command = {VHDX_PARSER_REFUSE_SYSTEM_CALL, std::to_string(error),
                                            calls, VHDX_PARSER_VHDX_COMMAND};
        command.insert(command.end(), arguments.begin(), arguments.end());
        CChildOptions options;
        options.folder = m_folder.Path();
        return RunChild(command, options);
    }

    void ExpectCalls(const std::vector<std::string>& arguments, const std::string& calls) const {
        SCOPED_TRACE(arguments[0]);
        const CChildResult result = Run(arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.errors, "");
        EXPECT_EQ(FileText(m_calls / "calls"), calls);
    }

    CTemporaryFolder m_folder;
    CTemporaryFolder m_calls;
};

TEST_F(Durability, OfAnImageComesBeforeItsNameAndThatOfItsNameBeforeTheEnd) {
    ExpectCalls({"export", "disk.vhdx", "-o", "disk.raw"},
                "change\nfsync file\nname disk.raw\nfsync folder\n");
}

TEST_F(Durability, OfEveryOtherResultToo) {
    const std::string calls = "fsync file\nname out\nfsync folder\n";
    ExpectCalls({"read", "disk.vhdx", "-o", "out"}, calls);
    fs::remove(m_folder / "out");
    ExpectCalls({"map", "disk.vhdx", "--svg", "out"}, calls);
    fs::remove(m_folder / "out");
    ExpectCalls({"save", "disk.vhdx", "out"},
                "remove out.identity\n" + calls + "fsync file\nname out.identity\nfsync folder\n");
}

TEST_F(Durability, OfAMarkComesBeforeTheUpdateAndThatOfTheUpdateBeforeTheMarkGoes) {
    ASSERT_EQ(RunVhdxIn(m_folder.Path(), {"export", "disk.vhdx", "-o", "disk.raw"}).status, 0);
    std::ofstream(m_folder / "ranges") << "1M,64K\n";
    const std::vector<std::string> update = {"export",   "disk.vhdx", "--update",
                                             "disk.raw", "--ranges",  "ranges"};
    ExpectCalls(update,
                "fsync file\nname disk.raw.updating\nfsync folder\nchange\nfsync file\n"
                "remove disk.raw.updating\nfsync folder\n");
    const CChildResult result = RunRefusing("fsync", EIO, update);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "vhdx: disk.raw.updating: cannot be written: Input/output error\n");
}

TEST_F(Durability, IsLeftOutWhereNobodyCares) {
    ExpectCalls({"export", "disk.vhdx", "-o", "disk.raw", "--no-sync"}, "change\nname disk.raw\n");
    ExpectCalls({"read", "disk.vhdx", "-o", "out", "--no-sync"}, "name out\n");
    ExpectCalls({"map", "disk.vhdx", "--svg", "picture", "--no-sync"}, "name picture\n");
    ExpectCalls({"save", "disk.vhdx", "model", "--no-sync"},
                "remove model.identity\nname model\nname model.identity\n");
}

TEST_F(Durability, ThatCannotBeHadLeavesNoResult) {
    const std::vector<std::vector<std::string>> commands = {{"export", "disk.vhdx", "-o", "out"},
                                                            {"read", "disk.vhdx", "-o", "out"},
                                                            {"map", "disk.vhdx", "--svg", "out"},
                                                            {"save", "disk.vhdx", "out"}};
    for (const std::vector<std::string>& arguments : commands) {
        SCOPED_TRACE(arguments[0]);
        const CChildResult result = RunRefusing("fsync", EIO, arguments);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.errors, "vhdx: out: cannot be written: Input/output error\n");
        EXPECT_EQ(NamesIn(m_folder.Path()), std::vector<std::string>{"disk.vhdx"});
    }
}

TEST_F(Durability, OfTheNameThatCannotBeHadIsTold) {
    const CChildResult result = Run({"export", "disk.vhdx", "-o", "disk.raw"}, EIO);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors,
              "vhdx: disk.raw: is complete and in its place, but a power cut may undo that: "
              "Input/output error\n");
    EXPECT_TRUE(fs::exists(m_folder / "disk.raw"));
}

TEST_F(Durability, OfNamesIsNotAskedOfFileSystemsWithout) {
    for (const int error : {EINVAL, ENOTSUP}) {
        const CChildResult result =
            Run({"export", "disk.vhdx", "-o", "disk.raw", "--force"}, error);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.errors, "");
    }
}

TEST_F(Durability, OfNamesIsHadInAFolderThatMayNotBeRead) {
    fs::create_directory(m_folder / "blind");
    fs::permissions(m_folder / "blind", fs::perms::owner_write | fs::perms::owner_exec);
    CChildOptions options;
    options.folder = m_folder.Path();
    options.obeysPermissions = true;
    const CChildResult result = RunVhdx({"export", "disk.vhdx", "-o", "blind/disk.raw"}, options);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_TRUE(fs::exists(m_folder / "blind/disk.raw"));
}

}  // namespace
}  // namespace NTest
