#ifndef VHDX_PARSER_TESTS_HOSTILE_MEASURED_CHILD_H
#define VHDX_PARSER_TESTS_HOSTILE_MEASURED_CHILD_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace NTest {

/// How a piece of work ended that ran in a process of its own.
struct CMeasuredRun {
    bool endedWell = false;  ///< it returned: no signal, no exception, no deadline
    std::string result;      ///< what it returned
    std::chrono::microseconds processorTime{};
    std::uint64_t peakMemory = 0;  ///< largest resident size in bytes, the test program's included
};

/// Runs the work in a child process. A work that is still running after a minute is ended.
/// On Windows it runs in the test program itself.
CMeasuredRun RunMeasured(const std::function<std::string()>& work);

}  // namespace NTest

#endif
