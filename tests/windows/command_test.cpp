// What the vhdx command does on Windows alone.

#include <gtest/gtest.h>

#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

TEST(CommandOnWindows, ServesNothing) {
    const CChildResult result = RunVhdx({"serve", "disk.vhdx"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "vhdx: disk.vhdx: nbdkit does not run on Windows\n");
}

}  // namespace
}  // namespace NTest
