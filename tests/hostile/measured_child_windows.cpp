#include "tests/hostile/measured_child.h"

// The second header needs the first.
// clang-format off
#include <windows.h>
#include <psapi.h>
// clang-format on

#include <exception>

// Windows copies no process: the work runs on a thread of the test program. The memory is then the
// most that the program held so far, and a work that does not end ends with the whole program, when
// CTest's time is over.

namespace NTest {
namespace {

std::chrono::microseconds Duration(const FILETIME& time) {
    const std::uint64_t count = (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
    return std::chrono::microseconds(count / 10);
}

std::chrono::microseconds ProcessorTime() {
    FILETIME start, end, system, user;
    return GetThreadTimes(GetCurrentThread(), &start, &end, &system, &user) != 0
               ? Duration(system) + Duration(user)
               : std::chrono::microseconds::max();
}

std::uint64_t PeakMemory() {
    PROCESS_MEMORY_COUNTERS counters{};
    return GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters)) != 0
               ? counters.PeakWorkingSetSize
               : std::uint64_t(-1);
}

}  // namespace

CMeasuredRun RunMeasured(const std::function<std::string()>& work) {
    CMeasuredRun run;
    const std::chrono::microseconds start = ProcessorTime();
    try {
        run.result = work();
        run.endedWell = true;
    } catch (const std::exception&) {
        run.endedWell = false;
    }
    run.processorTime = ProcessorTime() - start;
    run.peakMemory = PeakMemory();
    return run;
}

}  // namespace NTest
