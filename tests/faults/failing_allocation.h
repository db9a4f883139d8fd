#ifndef VHDX_PARSER_TESTS_FAULTS_FAILING_ALLOCATION_H
#define VHDX_PARSER_TESTS_FAULTS_FAILING_ALLOCATION_H

#include <cstdint>
#include <functional>

namespace NTest {

/// Blocks that `operator new` gave out and that were not given back.
std::int64_t LiveAllocations();

/// Runs the request again and again and makes the n-th allocation fail, for every n up to the first
/// run that needs fewer. Expects of each run that `std::bad_alloc` passes out, or that the request
/// succeeds all the same (the standard library gets by without some blocks), that nothing leaks,
/// and that `unchanged` holds when it failed. Returns the number of runs that failed.
///
/// The request says whether it succeeded.
std::uint64_t FailEveryAllocation(const std::function<bool()>& request,
                                  const std::function<bool()>& unchanged);

}  // namespace NTest

#endif
