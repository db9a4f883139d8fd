#ifndef VHDX_PARSER_TESTS_TOOL_VHDX_COMMAND_H
#define VHDX_PARSER_TESTS_TOOL_VHDX_COMMAND_H

/// Runs the command that was built.

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/child_process.h"

namespace NTest {

/// Runs `vhdx` with these arguments.
inline CChildResult RunVhdx(std::vector<std::string> arguments, const CChildOptions& options = {}) {
    arguments.insert(arguments.begin(), VHDX_PARSER_VHDX_COMMAND);
    return RunChild(arguments, options);
}

/// Runs it in a folder, so that file names in its output do not depend on where the folder is.
inline CChildResult RunVhdxIn(const std::filesystem::path& folder,
                              const std::vector<std::string>& arguments) {
    CChildOptions options;
    options.folder = folder;
    return RunVhdx(arguments, options);
}

/// The names in a folder, sorted.
inline std::vector<std::string> NamesIn(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace NTest

#endif
