// Who may read what a command has made: nobody who may not read what it was made from.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/chain_model.h"
#include "tests/support/temporary_folder.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

namespace fs = std::filesystem;

class OutputPermissions : public testing::Test {
protected:
    OutputPermissions() {
        CChainModel chain;
        chain.AddDisk(CDiskShape()).Present(1, 1);
        chain.AddDisk(CDiskShape()).Partial(2, 2, {0, 9});
        chain.WriteTo(m_folder.Path());
    }

    void Set(const std::string& file, unsigned mode) const {
        ASSERT_EQ(chmod((m_folder / file).c_str(), mode), 0);
    }

    unsigned Of(const std::string& file) const {
        struct stat status = {};
        EXPECT_EQ(stat((m_folder / file).c_str(), &status), 0);
        return status.st_mode & 07777;
    }

    /// Runs the command as a user of this umask does.
    CChildResult Run(const std::string& mask, const std::string& arguments) const {
        return RunChild({"sh", "-c", "umask " + mask + "; cd \"$1\"; \"$0\" " + arguments,
                         VHDX_PARSER_VHDX_COMMAND, m_folder.Narrow()});
    }

    /// Of the file "out" that it makes.
    void Expect(const std::string& arguments, const std::string& mask, unsigned expected) const {
        SCOPED_TRACE(arguments);
        const CChildResult result = Run(mask, arguments);
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(Of("out"), expected);
        fs::remove(m_folder / "out");
    }

    CTemporaryFolder m_folder;
};

TEST_F(OutputPermissions, AreWhatTheDiskFileAndTheUmaskBothAllow) {
    const std::vector<std::pair<unsigned, std::string>> cases = {
        {0600, "022"}, {0644, "022"}, {0666, "000"}, {0664, "027"}, {0640, "022"}, {0777, "022"}};
    const std::vector<unsigned> expected = {0600, 0644, 0666, 0640, 0640, 0644};
    for (std::size_t i = 0; i < cases.size(); ++i) {
        Set("0.vhdx", cases[i].first);
        Expect("export 0.vhdx -o out", cases[i].second, expected[i]);
    }
}

TEST_F(OutputPermissions, HoldForEveryResult) {
    Set("1.avhdx", 0640);
    for (const char* const arguments :
         {"export 1.avhdx -o out", "export . --disk 1.avhdx -o out", "read 1.avhdx -o out",
          "read 1.avhdx --file-only -o out", "map 1.avhdx --svg out",
          "bitmap 1.avhdx --chunk 0 -o out", "save 1.avhdx out"}) {
        Expect(arguments, "000", 0640);
    }
}

TEST_F(OutputPermissions, AreThoseOfTheParentsToo) {
    Set("0.vhdx", 0600);
    Set("1.avhdx", 0644);
    Expect("export 1.avhdx -o out", "022", 0600);
    Expect("read 1.avhdx -o out", "022", 0600);
    Expect("read 1.avhdx --file-only -o out", "022", 0644);
}

TEST_F(OutputPermissions, OfAnOlderFileStay) {
    Set("0.vhdx", 0600);
    for (const unsigned mode : {0644U, 0600U, 0666U, 0440U}) {
        std::ofstream(m_folder / "out") << "older";
        Set("out", mode);
        Expect("export 0.vhdx -o out --force", "077", mode);
    }
}

TEST_F(OutputPermissions, AreTheOwnersAloneUntilAllIsWritten) {
    const std::string script =
        "umask 0; cd \"$1\"; chmod 666 0.vhdx; mkfifo hold; exec 3<>hold; "
        "dd if=/dev/zero of=hold bs=4096 count=16 2>/dev/null; "
        "\"$0\" export 0.vhdx -o out --progress always 2>hold & child=$!; "
        "opened() { ls -l /proc/$child/fd | grep deleted || ls | grep part; }; "
        "for i in $(seq 500); do opened >/dev/null && break; sleep 0.01; done; "
        "opened >/dev/null || echo never started; "
        "for file in /proc/$child/fd/* *.part; do "
        "case $(readlink $file) in *deleted*) stat -L -c %a $file ;; esac; "
        "case $file in vhdx-*) stat -c %a $file ;; esac; done | sort -u; "
        "kill $child; wait $child";
    const CChildResult result =
        RunChild({"bash", "-c", script, VHDX_PARSER_VHDX_COMMAND, m_folder.Narrow()});
    EXPECT_EQ(result.output, "600\n") << result.errors;
}

}  // namespace
}  // namespace NTest
