#include "tests/tool/expected_output.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "tests/support/file_content.h"
#include "tests/support/temporary_folder.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

std::filesystem::path ExpectedFile(const std::string& name) {
    return std::filesystem::path(VHDX_PARSER_EXPECTED_FOLDER) / (name + ".txt");
}

std::string Transcript(const CChildResult& result) {
    std::string text = result.output;
    if (!result.errors.empty()) {
        text += "--- standard error ---\n" + result.errors;
    }
    return text + "--- exit status " + std::to_string(result.status) + " ---\n";
}

/// The text with one `/` for backslashes: JSON writes each of them twice.
std::string WithSlashes(std::string text) {
    std::replace(text.begin(), text.end(), '\\', '/');
    const auto isRepeated = [](char left, char right) { return left == '/' && right == '/'; };
    text.erase(std::unique(text.begin(), text.end(), isRepeated), text.end());
    return text;
}

TEST_P(ExpectedOutput, IsPrinted) {
    const CTemporaryFolder folder;
    const CCase& expected = GetParam();
    ASSERT_NO_FATAL_FAILURE(expected.write(folder.Path()));
    const std::string printed = Transcript(RunVhdxIn(folder.Path(), expected.arguments));
    const std::filesystem::path file = ExpectedFile(expected.name);
    if (std::getenv("VHDX_PARSER_WRITE_EXPECTED") != nullptr) {
        std::ofstream(file, std::ios::binary) << printed;
        FAIL() << "wrote " << expected.name;
    }
    const bool asPrinted =
        expected.separators == CCase::slashes || std::filesystem::path::preferred_separator == '/';
    EXPECT_EQ(asPrinted ? printed : WithSlashes(printed),
              asPrinted ? FileText(file) : WithSlashes(FileText(file)));
}

}  // namespace
}  // namespace NTest
