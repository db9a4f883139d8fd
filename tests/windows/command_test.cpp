// What the vhdx command does on Windows alone.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/image_builder.h"
#include "tests/support/temporary_folder.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

TEST(CommandOnWindows, ServesNothing) {
    const CChildResult result = RunVhdx({"serve", "disk.vhdx"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "vhdx: disk.vhdx: nbdkit does not run on Windows\n");
}

TEST(CommandOnWindows, ReadsAndTellsPathsThatWindowsTakesAsTheyStand) {
    const CTemporaryFolder folder;
    CImageBuilder().Build().WriteTo(folder / "disk.vhdx");
    const std::filesystem::path native = std::filesystem::path(folder.Path()).make_preferred();
    const std::string path = R"(\\?\)" + native.string();
    EXPECT_EQ(RunVhdx({"info", path + R"(\disk.vhdx)"}).status, 0);

    const CChildResult chain = RunVhdx({"chain", path, "--json"});
    EXPECT_EQ(chain.status, 0);
    EXPECT_NE(chain.output.find(R"("base": "\\\\?\\)"), std::string::npos) << chain.output;
    EXPECT_NE(chain.output.find(R"(\\disk.vhdx")"), std::string::npos) << chain.output;
}

}  // namespace
}  // namespace NTest
