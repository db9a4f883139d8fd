#ifndef VHDX_PARSER_TESTS_SUPPORT_CHILD_PROCESS_H
#define VHDX_PARSER_TESTS_SUPPORT_CHILD_PROCESS_H

/// Runs a program, or a part of this one in a process of its own, and collects what it says.

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace NTest {

struct CChildResult {
    int status = -1;  ///< the exit status; 128 + the number of the signal that ended it
    bool timedOut = false;
    std::string output;
    std::string errors;
};

struct CChildOptions {
    std::filesystem::path folder;   ///< where it runs; empty: where the test runs
    bool closeOutput = false;       ///< nobody reads its standard output
    std::string outputFile;         ///< standard output goes there instead of into `output`
    std::uint64_t largestFile = 0;  ///< bytes that a file may grow to, where the platform limits it
    bool obeysPermissions = false;  ///< on Linux: also root reads only what permissions allow
    std::chrono::seconds timeout{120};
};

/// Runs `command` (the program, looked for in PATH, and its arguments) to its end, or ends it when
/// it takes too long. A program that cannot be started has status 127.
CChildResult RunChild(const std::vector<std::string>& command, const CChildOptions& options = {});

/// Runs the work in a copy of this process to its end, or ends it when it takes too long. The
/// status is what the work returns. What it does with permissions is what this process may. Not on
/// Windows.
CChildResult RunForked(const std::function<int()>& work, const CChildOptions& options = {});

}  // namespace NTest

#endif
