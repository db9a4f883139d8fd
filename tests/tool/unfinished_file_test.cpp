// What a command leaves of a result that it does not finish, where the system has files without
// names and where it has none.

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/chain_model.h"
#include "tests/support/file_content.h"
#include "tests/support/sanitizers.h"
#include "tests/support/temporary_folder.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

namespace fs = std::filesystem;

CChainModel OneFile() {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1).Present(2, 2).Present(6, 3);
    return chain;
}

/// True: files without names are refused.
class UnfinishedFile : public testing::Test, public testing::WithParamInterface<bool> {
protected:
    UnfinishedFile() { m_chain.WriteTo(m_folder.Path()); }

    /// What stands before the command.
    std::vector<std::string> Command() const {
        std::vector<std::string> command;
        if (GetParam()) {
            command = {VHDX_PARSER_REFUSE_SYSTEM_CALL, std::to_string(EOPNOTSUPP), "O_TMPFILE"};
        }
        command.push_back(VHDX_PARSER_VHDX_COMMAND);
        return command;
    }

    CChildResult Run(const std::vector<std::string>& arguments) const {
        std::vector<std::string> command = Command();
        command.insert(command.end(), arguments.begin(), arguments.end());
        CChildOptions options;
        options.folder = m_folder.Path();
        return RunChild(command, options);
    }

    void ExpectDone(const std::vector<std::string>& arguments) const {
        const CChildResult result = Run(arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.errors, "");
    }

    /// Starts an export, which is held where it writes to a pipe that is full, then does `then` in
    /// the shell; the export is $child.
    CChildResult RunHeld(const std::string& then) const {
        const std::string script =
            "set -m; cd \"$1\"; shift; mkfifo hold; exec 3<>hold; "
            "dd if=/dev/zero of=hold bs=4096 count=16 2>/dev/null; "
            "\"$@\" export 0.vhdx -o disk.raw --progress always 2>hold & child=$!; "
            "opened() { ls -l /proc/$child/fd | grep deleted || ls | grep part; }; "
            "for i in $(seq 500); do opened >/dev/null && break; sleep 0.01; done; "
            "opened >/dev/null || echo never started; sleep 0.1; " +
            then;
        std::vector<std::string> command = {"bash", "-c", script, "bash", m_folder.Narrow()};
        const std::vector<std::string> vhdx = Command();
        command.insert(command.end(), vhdx.begin(), vhdx.end());
        return RunChild(command);
    }

    /// The comparison does not print both sides: they are megabytes.
    bool IsExported(const std::string& name) const {
        return FileBytes(m_folder / name) == m_chain.Content();
    }

    const CChainModel m_chain = OneFile();
    CTemporaryFolder m_folder;
};

TEST_P(UnfinishedFile, IsGoneWhenItIsComplete) {
    ExpectDone({"export", "0.vhdx", "-o", "disk.raw"});
    ExpectDone({"export", "0.vhdx", "-o", "disk.raw", "--force"});
    ExpectDone({"read", "0.vhdx", "-o", "part"});
    ExpectDone({"read", "0.vhdx", "-o", "part"});
    ExpectDone({"save", "0.vhdx", "model"});
    ExpectDone({"map", "0.vhdx", "--svg", "picture"});
    EXPECT_TRUE(IsExported("disk.raw"));
    EXPECT_TRUE(IsExported("part"));
    EXPECT_EQ(NamesIn(m_folder.Path()),
              (std::vector<std::string>{"0.vhdx", "disk.raw", "model", "model.identity", "part",
                                        "picture"}));
}

TEST_P(UnfinishedFile, IsGoneWhenTheCommandIsInterrupted) {
    for (const char* const signal : {"INT", "TERM", "HUP"}) {
        (void)RunHeld("kill -" + std::string(signal) + " $child; wait $child");
        EXPECT_EQ(NamesIn(m_folder.Path()), (std::vector<std::string>{"0.vhdx", "hold"}));
        fs::remove(m_folder / "hold");
    }
}

TEST_P(UnfinishedFile, IsInNobodysWayWhenTheCommandIsKilled) {
    const CChildResult result = RunHeld("kill -KILL $child; wait $child; rm hold; ls");
    if (GetParam()) {
        EXPECT_TRUE(result.output.starts_with("0.vhdx\nvhdx-")) << result.output;
    } else {
        EXPECT_EQ(result.output, "0.vhdx\n");
    }
    for (int i = 0; i < 120; ++i) {
        std::ofstream(m_folder / ("disk.raw.part" + std::to_string(i))) << "left behind";
    }
    ExpectDone({"export", "0.vhdx", "-o", "disk.raw"});
    EXPECT_TRUE(IsExported("disk.raw"));
}

TEST_P(UnfinishedFile, TakesNoPlaceThatWasTakenMeanwhile) {
    const CChildResult result =
        RunHeld("echo mine > disk.raw; cat <&3 > /dev/null & wait $child; echo $?; kill $!");
    EXPECT_EQ(result.output, "1\n") << result.errors;
    EXPECT_EQ(FileText(m_folder / "disk.raw"), "mine\n");
}

TEST_P(UnfinishedFile, LeavesNamesAsLongAsTheyCanBe) {
    for (const std::size_t length : {250U, 251U, 255U}) {
        const std::string name(length, 'n');
        ExpectDone({"export", "0.vhdx", "-o", name});
        ExpectDone({"export", "0.vhdx", "-o", name, "--force"});
        EXPECT_TRUE(IsExported(name));
        ExpectDone({"read", "0.vhdx", "-o", name});
        ExpectDone({"map", "0.vhdx", "--svg", name});
        EXPECT_EQ(NamesIn(m_folder.Path()), (std::vector<std::string>{"0.vhdx", name}));
        fs::remove(m_folder / name);
    }
    const std::string tooLong(256, 'n');
    EXPECT_EQ(Run({"export", "0.vhdx", "-o", tooLong}).errors,
              "vhdx: " + tooLong + ": cannot be written: File name too long\n");
}

INSTANTIATE_TEST_SUITE_P(Tool, UnfinishedFile, testing::Bool(),
                         [](const testing::TestParamInfo<bool>& test) {
                             return test.param ? "WithAName" : "WithoutName";
                         });

/// A file without a name gets one by way of that folder.
TEST(UnfinishedFileWithoutProc, HasAName) {
    if (hasShadowMemory) {
        GTEST_SKIP() << "a sanitizer needs that folder";
    }
    const CTemporaryFolder folder;
    const CChainModel chain = OneFile();
    chain.WriteTo(folder.Path());
    const std::string script =
        "cd \"$1\"; mount -t tmpfs none /proc || exit 99; "
        "\"$0\" export 0.vhdx -o disk.raw";
    const CChildResult result =
        RunChild({"unshare", "-rm", "sh", "-c", script, VHDX_PARSER_VHDX_COMMAND, folder.Narrow()});
    if (result.status == 99 || result.status == 127 || result.errors.starts_with("unshare")) {
        GTEST_SKIP() << "this user may not mount a file system";
    }
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_TRUE(FileBytes(folder / "disk.raw") == chain.Content());
    EXPECT_EQ(NamesIn(folder.Path()), (std::vector<std::string>{"0.vhdx", "disk.raw"}));
}

}  // namespace
}  // namespace NTest
