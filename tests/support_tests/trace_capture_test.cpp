#include "tests/support/trace_capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace NTest {
namespace {

using testing::ElementsAre;

TEST(TraceCapture, CollectsLinesInOrder) {
    CTraceCapture trace;
    NDebugTrace::g_pwriter->WriteNarrow("one", 3);
    NDebugTrace::g_pwriter->WriteWide(L"two \u20AC", 1);
    EXPECT_THAT(trace.Lines(), ElementsAre(Line(3, "one"), WideLine(1, "two \xE2\x82\xAC")));
    EXPECT_THAT(trace.LinesAt(3), ElementsAre(Line(3, "one")));
    EXPECT_EQ(trace.Count(), 2u);
    trace.Clear();
    EXPECT_EQ(trace.Count(), 0u);
}

TEST(TraceCapture, TellsNarrowFromWide) {
    EXPECT_NE(Line(1, "text"), WideLine(1, "text"));
}

TEST(TraceCapture, RestoresTheWriterBefore) {
    {
        CTraceCapture outer;
        {
            CTraceCapture inner;
            EXPECT_EQ(NDebugTrace::g_pwriter, &inner);
        }
        EXPECT_EQ(NDebugTrace::g_pwriter, &outer);
    }
    EXPECT_EQ(NDebugTrace::g_pwriter, nullptr);
}

TEST(TraceCapture, RestoresTheContextBefore) {
    {
        CTraceContext context("Job 7");
        EXPECT_STREQ(_pszDebugTraceContext, "Job 7");
    }
    EXPECT_EQ(_pszDebugTraceContext, nullptr);
}

}  // namespace
}  // namespace NTest
