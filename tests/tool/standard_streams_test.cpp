// Commands that are called with closed standard streams.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/file_content.h"
#include "tests/support/temporary_folder.h"
#include "tests/tool/test_disks.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

class StandardStreams : public testing::Test {
protected:
    StandardStreams() { DynamicDisk().Build().WriteTo(m_folder / "disk.vhdx"); }

    /// Runs the command as a shell with these redirections does.
    CChildResult Run(const std::string& arguments, const std::string& redirections) const {
        return RunChild({"sh", "-c", "cd \"$1\"; \"$0\" " + arguments + " " + redirections,
                         VHDX_PARSER_VHDX_COMMAND, m_folder.Narrow()});
    }

    CTemporaryFolder m_folder;
};

TEST_F(StandardStreams, ThatAreClosedNeverLeadIntoAFile) {
    ASSERT_EQ(Run("export disk.vhdx -o right.raw", "").status, 0);
    for (const char* const closed : {"2>&-", "1>&- 2>&-", "0<&- 1>&- 2>&-", "0<&- 2>&-", "1>&-"}) {
        SCOPED_TRACE(closed);
        const std::string always = "--force --verify --progress always ";
        EXPECT_EQ(Run("export disk.vhdx -o disk.raw " + always, closed).status, 0);
        // The comparison does not print both sides: they are megabytes.
        EXPECT_TRUE(FileBytes(m_folder / "disk.raw") == FileBytes(m_folder / "right.raw"));
    }
}

TEST_F(StandardStreams, ThatIsClosedCannotBeWritten) {
    for (const char* const arguments :
         {"info disk.vhdx", "map disk.vhdx", "read disk.vhdx", "export disk.vhdx -o -", "--help"}) {
        SCOPED_TRACE(arguments);
        const CChildResult result = Run(arguments, "1>&-");
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.errors, "vhdx: standard output: cannot be written: Bad file descriptor\n");
    }
}

TEST_F(StandardStreams, ThatIsClosedCannotBeRead) {
    const CChildResult result = Run("changes disk.vhdx --ranges -", "0<&-");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "vhdx: standard input: cannot be read: Bad file descriptor\n");
}

}  // namespace
}  // namespace NTest
