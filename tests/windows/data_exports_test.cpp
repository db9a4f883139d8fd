// The library's data, reached by a host through the import library.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_parser/vhdx_parser.h>

#include "tests/support/test_stream.h"
#include "tests/support/trace_capture.h"

namespace NTest {
namespace {

/// Opening an empty stream fails with one line at least.
bool OpenEmptyStream() {
    std::basic_istringstream<unsigned char> nothing;
    NVHDX::CAccessor accessor;
    return accessor.Entry(nothing);
}

TEST(DataExports, TheTraceStartsWithoutWriterAndContext) {
    EXPECT_EQ(NDebugTrace::g_pwriter, nullptr);
    EXPECT_EQ(_pszDebugTraceContext, nullptr);
}

TEST(DataExports, TheLibraryCallsTheWriterThatTheHostInstalled) {
    CTraceCapture trace;
    EXPECT_FALSE(OpenEmptyStream());
    EXPECT_THAT(trace.LinesAt(3), testing::Not(testing::IsEmpty()));
}

TEST(DataExports, TheLibraryReadsTheContextThatTheHostSet) {
    CTraceCapture trace;
    const CTraceContext context("backup job");
    EXPECT_FALSE(OpenEmptyStream());
    ASSERT_THAT(trace.Lines(), testing::Not(testing::IsEmpty()));
    EXPECT_THAT(trace.Lines()[0].text, testing::StartsWith("backup job: "));
}

TEST(DataExports, TheHostReadsTheLibrarysConstant) {
    EXPECT_EQ(NVHDX::CBlockChunk::m_payloadblkcollidxAbsent, 0xFFFFFFFFFFFFFFFFu);
}

TEST(DataExports, TheHostReachesTheLibrarysConstantByAddress) {
    const std::uint64_t* absent = &NVHDX::CBlockChunk::m_payloadblkcollidxAbsent;
    EXPECT_EQ(*absent, 0xFFFFFFFFFFFFFFFFu);
}

}  // namespace
}  // namespace NTest
