#ifndef VHDX_PARSER_TESTS_SUPPORT_STOP_AT_EVERY_CALL_H
#define VHDX_PARSER_TESTS_SUPPORT_STOP_AT_EVERY_CALL_H

/// Walks with a callback that may end them: no call follows the one that said stop.

#include <cstddef>
#include <functional>
#include <vector>

#include <gtest/gtest.h>

namespace NTest {

/// `walk` takes a callback of one `TCall`, which returns false to stop, and gives its own result;
/// `expected` are the calls that it makes when nobody stops it. Stops it at each of them in turn,
/// and then not at all.
template <class TCall, class TWalk>
void ExpectStopAtEveryCall(const std::vector<TCall>& expected, bool resultWhenStopped, TWalk walk) {
    for (std::size_t last = 1; last <= expected.size() + 1; ++last) {
        std::vector<TCall> calls;
        const bool result = walk([&](const TCall& call) {
            calls.push_back(call);
            return calls.size() < last;
        });
        const bool stopped = last <= expected.size();
        const std::vector<TCall> wanted(
            expected.begin(),
            stopped ? expected.begin() + static_cast<std::ptrdiff_t>(last) : expected.end());
        ASSERT_EQ(calls, wanted) << "stopped at call " << last;
        ASSERT_EQ(result, stopped ? resultWhenStopped : true) << "stopped at call " << last;
    }
}

}  // namespace NTest

#endif
