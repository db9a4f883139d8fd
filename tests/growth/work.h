#ifndef VHDX_PARSER_TESTS_GROWTH_WORK_H
#define VHDX_PARSER_TESTS_GROWTH_WORK_H

#include <cstdint>
#include <functional>

namespace NTest {

/// What a call asked of the machine.
struct CWork {
    std::uint64_t allocations = 0;
    std::uint64_t bytes = 0;  ///< asked for by all allocations together
    std::uint64_t peak = 0;   ///< bytes that were in use at once, beyond those before the call
    double seconds = 0;       ///< of the processor's time, in this process
};

/// One at a time, on one thread.
CWork WorkOf(const std::function<void()>& call);

/// Makes a call that works on an input of this size; what it needs is prepared before.
using CPrepare = std::function<std::function<void()>(std::uint64_t size)>;

/// Expects of each count of work that it at most doubles, and a little, from `size` to twice that.
///
/// The counts of memory are the same in every run. Time is not, and yet this does not depend on
/// what else the machine does: what counts is the processor's time of this process, which other
/// programs can only add to, and of many runs the shortest one of each size. Runs are added,
/// alternating, until the times fit, so that a busy machine makes the test longer, and only work
/// that really grows faster keeps them apart to the last run.
void ExpectProportional(std::uint64_t size, const CPrepare& prepare);

}  // namespace NTest

#endif
