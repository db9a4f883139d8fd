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

/// Sanitizers keep shadow memory and freed blocks: figures taken under them say nothing.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool figuresCount = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool figuresCount = false;
#else
inline constexpr bool figuresCount = true;
#endif
#else
inline constexpr bool figuresCount = true;
#endif

}  // namespace NTest

#endif
