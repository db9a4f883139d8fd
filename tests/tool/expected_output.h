#ifndef VHDX_PARSER_TESTS_TOOL_EXPECTED_OUTPUT_H
#define VHDX_PARSER_TESTS_TOOL_EXPECTED_OUTPUT_H

/// What a command prints, whole, as a file in `expected` that a person can read. To see a change of
/// such files as a difference in version control, run the tests with VHDX_PARSER_WRITE_EXPECTED
/// set: they then write the files, and fail so that nobody mistakes that for a passed test.

#include <gtest/gtest.h>

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

namespace NTest {

using CArguments = std::vector<std::string>;

struct CCase {
    /// How names of files are separated in what is printed: by `/`, or as the platform does it.
    enum ESeparators { slashes, ofPlatform };

    std::string name;  ///< the file in `expected`, without ".txt"
    CArguments arguments;
    /// Writes the disks into the folder in which the command runs.
    void (*write)(const std::filesystem::path& folder);
    ESeparators separators = slashes;
};

inline std::ostream& operator<<(std::ostream& out, const CCase& expected) {
    return out << expected.name;
}

inline std::string CaseName(const testing::TestParamInfo<CCase>& instance) {
    return instance.param.name;
}

/// The test is in expected_output.cpp; what it runs with is spread over files by subject.
class ExpectedOutput : public testing::TestWithParam<CCase> {};

}  // namespace NTest

#endif
