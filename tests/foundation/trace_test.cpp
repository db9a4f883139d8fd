#include "vhdx_parser/foundation/trace.h"

#include <limits>
#include <new>
#include <random>
#include <stdexcept>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/trace_capture.h"

namespace NTest {
namespace {

using NDebugTrace::TOutput;
using NDebugTrace::Trace;
using testing::ElementsAre;
using testing::IsEmpty;

using CNarrowOutput = TOutput<std::ostringstream>;
using CWideOutput = TOutput<std::wostringstream>;

static_assert(std::is_base_of_v<std::ostringstream, CNarrowOutput>);
static_assert(std::is_base_of_v<std::wostringstream, CWideOutput>);
static_assert(std::has_virtual_destructor_v<CNarrowOutput>);
static_assert(std::is_same_v<decltype(CNarrowOutput::level), std::uint32_t>);

TEST(Trace, StartsWithoutWriterAndContext) {
    EXPECT_EQ(NDebugTrace::g_pwriter, nullptr);
    EXPECT_EQ(_pszDebugTraceContext, nullptr);
}

TEST(Trace, LineIsContextHeadAndParts) {
    CTraceCapture trace;
    const CTraceContext context("Job 7");
    Trace(4, "INFO. ", "Chunk radio is \"", 2048, "\"");
    EXPECT_THAT(trace.Lines(), ElementsAre(Line(4, "Job 7: INFO. Chunk radio is \"2048\"")));
}

TEST(Trace, WithoutContextTheLineBeginsWithTheHead) {
    CTraceCapture trace;
    Trace(3, "HDR ", "hdr not actual");
    EXPECT_THAT(trace.Lines(), ElementsAre(Line(3, "HDR hdr not actual")));
}

TEST(Trace, EmptyContextIsAContext) {
    CTraceCapture trace;
    const CTraceContext context("");
    Trace(4, "OK");
    EXPECT_THAT(trace.Lines(), ElementsAre(Line(4, ": OK")));
}

TEST(Trace, HeadMayStandAlone) {
    CTraceCapture trace;
    Trace(4, "----------Payload blocks----------");
    EXPECT_THAT(trace.Lines(), ElementsAre(Line(4, "----------Payload blocks----------")));
}

TEST(Trace, LevelReachesTheWriterAsGiven) {
    CTraceCapture trace;
    for (const std::uint32_t level : {1u, 2u, 3u, 4u}) {
        Trace(level, "head");
        Trace(level, L"head");
    }
    EXPECT_THAT(
        trace.Lines(),
        ElementsAre(Line(1, "head"), WideLine(1, "head"), Line(2, "head"), WideLine(2, "head"),
                    Line(3, "head"), WideLine(3, "head"), Line(4, "head"), WideLine(4, "head")));
}

TEST(Trace, LevelsOfTheLibrary) {
    EXPECT_EQ(NDebugTrace::levelDetail, 1u);
    EXPECT_EQ(NDebugTrace::levelPosition, 2u);
    EXPECT_EQ(NDebugTrace::levelFailure, 3u);
    EXPECT_EQ(NDebugTrace::levelInformation, 4u);
}

TEST(Trace, WithoutWriterNothingHappens) {
    ASSERT_EQ(NDebugTrace::g_pwriter, nullptr);
    Trace(3, "HDR ", "hdr not actual");
    Trace(1, L"VHDX. Request BAT.");
    CTraceCapture trace;
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST(Trace, WideLineWidensItsNarrowContext) {
    CTraceCapture trace;
    const CTraceContext context("Job 7");
    Trace(1, L"VHDX. Request BAT.", L" \u20AC ", 5);
    EXPECT_THAT(trace.Lines(),
                ElementsAre(WideLine(1, "Job 7: VHDX. Request BAT. \xE2\x82\xAC 5")));
}

TEST(Trace, WideLineWithoutContextBeginsWithTheHead) {
    CTraceCapture trace;
    Trace(1, L"VHDX. Request BAT.");
    EXPECT_THAT(trace.Lines(), ElementsAre(WideLine(1, "VHDX. Request BAT.")));
}

TEST(Trace, NumbersAreDecimalToTheirLimits) {
    CTraceCapture trace;
    Trace(4, "", std::numeric_limits<std::uint64_t>::max(), " ",
          std::numeric_limits<std::int64_t>::min(), " ", std::numeric_limits<std::uint32_t>::max(),
          " ", std::int32_t{-1}, " ", std::uint16_t{65535});
    EXPECT_THAT(
        trace.Lines(),
        ElementsAre(Line(4, "18446744073709551615 -9223372036854775808 4294967295 -1 65535")));
}

TEST(Trace, TextsMayBeStringsAndHoldZeros) {
    CTraceCapture trace;
    Trace(4, "INFO. ", std::string("a\0b", 3));
    EXPECT_THAT(trace.Lines(), ElementsAre(Line(4, std::string("INFO. a\0b", 9))));
}

TEST(Trace, WriterAndContextAreReadAnewForEachLine) {
    CTraceCapture first;
    Trace(4, "one");
    {
        CTraceCapture second;
        const CTraceContext context("ctx");
        Trace(4, "two");
        EXPECT_THAT(second.Lines(), ElementsAre(Line(4, "ctx: two")));
    }
    Trace(4, "three");
    EXPECT_THAT(first.Lines(), ElementsAre(Line(4, "one"), Line(4, "three")));
}

/// Groups digits and writes other digits' worth of fill, as many users' locales do.
template <class TChar>
struct CGrouping : std::numpunct<TChar> {
    TChar do_thousands_sep() const override { return TChar('.'); }
    std::string do_grouping() const override { return "\3"; }
};

class CGlobalLocale {
public:
    explicit CGlobalLocale(const std::locale& locale) : m_previous(std::locale::global(locale)) {}
    ~CGlobalLocale() { std::locale::global(m_previous); }
    CGlobalLocale(const CGlobalLocale&) = delete;
    CGlobalLocale& operator=(const CGlobalLocale&) = delete;

private:
    std::locale m_previous;
};

TEST(Trace, GlobalLocaleThatGroupsDigitsChangesNoLine) {
    const std::locale narrow(std::locale::classic(), new CGrouping<char>);
    const CGlobalLocale global(std::locale(narrow, new CGrouping<wchar_t>));
    std::ostringstream plain;
    plain << 1048576;
    ASSERT_EQ(plain.str(), "1.048.576");
    CTraceCapture trace;
    Trace(4, "", 1048576);
    Trace(4, L"", 1048576);
    EXPECT_THAT(trace.Lines(), ElementsAre(Line(4, "1048576"), WideLine(4, "1048576")));
}

/// The line as the stream composes it.
template <class... TParts>
void ComposeByStream(std::uint32_t level, const char* head, const TParts&... parts) {
    CNarrowOutput output(_pszDebugTraceContext, level, head);
    ((output << parts), ...);
    output.Finish();
}

TEST(Trace, PlainPartsComeToTheCharactersOfTheStream) {
    CTraceCapture trace;
    const auto compare = [&trace](const char* head, const auto&... parts) {
        trace.Clear();
        ComposeByStream(4, head, parts...);
        Trace(4, head, parts...);
        ASSERT_EQ(trace.Lines().size(), 2U);
        EXPECT_EQ(trace.Lines()[0], trace.Lines()[1]);
    };
    std::mt19937_64 random(1);
    for (int round = 0; round < 1000; ++round) {
        const std::uint64_t number = random() >> (random() % 64);
        const std::string text(random() % 300, static_cast<char>('!' + random() % 90));
        const CTraceContext context(round % 2 == 0 ? "a context" : "");
        compare("HEAD. ", "Index is \"", number, "\"; Offset ", static_cast<std::int64_t>(number),
                static_cast<std::int16_t>(number), text, text.c_str(),
                static_cast<std::uint16_t>(number), static_cast<std::int32_t>(number));
    }
    compare("");
    compare("", "", std::string("a\0b", 3));
}

TEST(TraceOutput, DestroyingItEmitsNothing) {
    CTraceCapture trace;
    { CNarrowOutput output("context", 3, "head "); }
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST(TraceOutput, TakesContextAndLevelAtConstruction) {
    CTraceCapture trace;
    CNarrowOutput output("context", 3, "head ");
    const CTraceContext later("later");
    output << "text";
    EXPECT_EQ(output.level, 3u);
    output.Finish();
    EXPECT_THAT(trace.Lines(), ElementsAre(Line(3, "context: head text")));
}

TEST(TraceOutput, TextReachesToTheFurthestCharacterAfterASeekBack) {
    CTraceCapture trace;
    CNarrowOutput output(nullptr, 4, "head ");
    output << "0123456789";
    output.seekp(5);
    output << "ab";
    output.Finish();
    EXPECT_THAT(trace.Lines(), ElementsAre(Line(4, "head ab23456789")));
}

TEST(TraceOutput, WideTextReachesToTheFurthestCharacterAfterASeekBack) {
    CTraceCapture trace;
    CWideOutput output(nullptr, 4, L"head ");
    output << L"0123456789";
    output.seekp(0);
    output << L"HEAD";
    output.Finish();
    EXPECT_THAT(trace.Lines(), ElementsAre(WideLine(4, "HEAD 0123456789")));
}

struct CThrowing {};

template <class TChar>
std::basic_ostream<TChar>& operator<<(std::basic_ostream<TChar>&, const CThrowing&) {
    throw std::bad_alloc();
}

TEST(Trace, ExceptionWhileComposingPassesAndNothingIsEmitted) {
    CTraceCapture trace;
    EXPECT_THROW(Trace(4, "head ", CThrowing()), std::bad_alloc);
    EXPECT_THROW(Trace(4, L"head ", CThrowing()), std::bad_alloc);
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

/// Has room for short texts only.
template <class T>
struct CSmallMemory {
    using value_type = T;

    CSmallMemory() = default;
    template <class U>
    explicit CSmallMemory(const CSmallMemory<U>&) {}

    T* allocate(std::size_t count) {
        if (count > 1000) {
            throw std::bad_alloc();
        }
        return std::allocator<T>().allocate(count);
    }
    void deallocate(T* block, std::size_t count) { std::allocator<T>().deallocate(block, count); }

    friend bool operator==(const CSmallMemory&, const CSmallMemory&) { return true; }
};

TEST(TraceOutput, MemoryExhaustionInsideTheStreamPassesInsteadOfCuttingTheLine) {
    using CSmallStream = std::basic_ostringstream<char, std::char_traits<char>, CSmallMemory<char>>;
    TOutput<CSmallStream> output(nullptr, 4, "head ");
    output << "short";
    EXPECT_THROW(output << std::string(5000, 'x'), std::bad_alloc);
}

class CThrowingWriter final : public NDebugTrace::IWriter {
public:
    void WriteNarrow(const std::string&, std::uint32_t) override { throw std::length_error("n"); }
    void WriteWide(const std::wstring&, std::uint32_t) override { throw std::length_error("w"); }
};

TEST(Trace, ExceptionOfTheWriterPasses) {
    CTraceCapture restoresTheWriter;
    CThrowingWriter writer;
    NDebugTrace::g_pwriter = &writer;
    EXPECT_THROW(Trace(4, "head"), std::length_error);
    EXPECT_THROW(Trace(4, L"head"), std::length_error);
}

}  // namespace
}  // namespace NTest
