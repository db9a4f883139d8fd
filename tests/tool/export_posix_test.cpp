// What only POSIX has of an export's troubles: signals, and limits for the size of files.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/tool/exported_chain.h"

namespace NTest {
namespace {

TEST_F(Export, WithoutRoomLeavesNothing) {
    ThreeFiles().WriteTo(m_folder.Path());
    const CChildResult result =
        RunChild({"sh", "-c", "ulimit -f 2048; cd \"$1\"; exec \"$0\" export 2.avhdx -o disk.raw",
                  VHDX_PARSER_VHDX_COMMAND, m_folder.Narrow()});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "vhdx: disk.raw: cannot be written: File too large\n");
    EXPECT_EQ(Files(), (std::vector<std::string>{"0.vhdx", "1.avhdx", "2.avhdx"}));
}

/// Interrupts an export in its midst: it is held where it writes to a pipe that is full and that
/// nobody reads.
class InterruptedExport : public Export, public testing::WithParamInterface<const char*> {};

TEST_P(InterruptedExport, LeavesNothingAndEndsByTheSignal) {
    ThreeFiles().WriteTo(m_folder.Path());
    // "set -m", or else the shell would let its child ignore Ctrl-C. A pipe holds 64 KiB.
    const std::string script =
        "set -m; cd \"$1\"; mkfifo hold; exec 3<>hold 4>/dev/null; "
        "dd if=/dev/zero of=hold bs=4096 count=16 2>/dev/null; "
        "\"$0\" export 2.avhdx -o disk.raw --progress always 2>hold & child=$!; "
        "started() { ls -l /proc/$child/fd | grep deleted || ls | grep part; }; "
        "for i in $(seq 500); do started >&4 && break; sleep 0.01; done; "
        "started >&4 || echo never started; sleep 0.1; "
        "kill -" +
        std::string(GetParam()) + " $child; wait $child; echo $?; ls";
    const CChildResult result =
        RunChild({"bash", "-c", script, VHDX_PARSER_VHDX_COMMAND, m_folder.Narrow()});
    const std::string status = GetParam() == std::string("INT") ? "130" : "143";
    EXPECT_EQ(result.output, status + "\n0.vhdx\n1.avhdx\n2.avhdx\nhold\n") << result.errors;
}

INSTANTIATE_TEST_SUITE_P(Tool, InterruptedExport, testing::Values("INT", "TERM"));

}  // namespace
}  // namespace NTest
