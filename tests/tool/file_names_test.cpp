// Names of files that no code page has, on the command line and in what the command says.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/temporary_folder.h"
#include "tests/tool/test_disks.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

// Cyrillic, Japanese, and a character beyond the basic plane, as UTF-8.
const std::u8string diskName = u8"\u0434\u0438\u0441\u043A \u65E5\u672C \U0001F4BE.vhdx";
const std::u8string outputName = u8"\u65E5\u672C.bin";

std::string Argument(const std::u8string& name) {
    return std::string(name.begin(), name.end());
}

class FileNames : public testing::Test {
protected:
    FileNames() { DynamicDisk().Build().WriteTo(m_folder / diskName); }

    CTemporaryFolder m_folder;
};

TEST_F(FileNames, BeyondAsciiAreOpened) {
    const CChildResult result = RunVhdxIn(m_folder.Path(), {"info", Argument(diskName)});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
}

TEST_F(FileNames, BeyondAsciiAreWritten) {
    const CChildResult result =
        RunVhdxIn(m_folder.Path(), {"read", Argument(diskName), "--offset", "1M", "--length", "4K",
                                    "-o", Argument(outputName)});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(std::filesystem::file_size(m_folder / outputName), 4096U);
}

TEST_F(FileNames, BeyondAsciiAreRepeatedInRefusals) {
    const CChildResult result = RunVhdxIn(m_folder.Path(), {"info", Argument(outputName)});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "vhdx: " + Argument(outputName) + ": there is no such file\n");
}

}  // namespace
}  // namespace NTest
