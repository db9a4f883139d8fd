#ifndef VHDX_PARSER_TESTS_SUPPORT_TRACE_CAPTURE_H
#define VHDX_PARSER_TESTS_SUPPORT_TRACE_CAPTURE_H

/// Collects the trace lines of the library while a test runs.
///
///     CTraceCapture trace;
///     EXPECT_FALSE(accessor.Entry(stream));
///     EXPECT_EQ(trace.Lines().back(), Line(3, "HDR item not selected"));

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include <vhdx_parser/debug_trace.h>

namespace NTest {

/// One line as it reached the writer; the text of a wide line is narrowed to UTF-8.
struct CTraceLine {
    std::uint32_t level;
    std::string text;
    bool wide;

    friend bool operator==(const CTraceLine&, const CTraceLine&) = default;
};

std::ostream& operator<<(std::ostream& out, const CTraceLine& line);

inline CTraceLine Line(std::uint32_t level, std::string text) {
    return {level, std::move(text), false};
}
inline CTraceLine WideLine(std::uint32_t level, std::string text) {
    return {level, std::move(text), true};
}

/// Is the writer from its construction to its destruction, which restores the one before.
class CTraceCapture final : public NDebugTrace::IWriter {
public:
    // Inline, so that each test program reaches the writer the way it is linked with the library.
    CTraceCapture() : m_previous(NDebugTrace::g_pwriter) { NDebugTrace::g_pwriter = this; }
    ~CTraceCapture() { NDebugTrace::g_pwriter = m_previous; }
    CTraceCapture(const CTraceCapture&) = delete;
    CTraceCapture& operator=(const CTraceCapture&) = delete;

    void WriteNarrow(const std::string& line, std::uint32_t level) override;
    void WriteWide(const std::wstring& line, std::uint32_t level) override;

    const std::vector<CTraceLine>& Lines() const { return m_lines; }
    /// The lines of one level, in order: level 3 shows the failures alone.
    std::vector<CTraceLine> LinesAt(std::uint32_t level) const;
    std::size_t Count() const { return m_lines.size(); }
    void Clear() { m_lines.clear(); }

private:
    NDebugTrace::IWriter* m_previous;
    std::vector<CTraceLine> m_lines;
};

/// Checks twice, without a writer and while one listens: nothing but the lines may depend on it.
template <class TCheck>
void WithoutAndWithAWriter(TCheck check) {
    check();
    const CTraceCapture listening;
    check();
}

/// Sets the text that every line begins with (null: none), and restores the one before.
class CTraceContext {
public:
    explicit CTraceContext(const char* context) : m_previous(_pszDebugTraceContext) {
        _pszDebugTraceContext = context;
    }
    ~CTraceContext() { _pszDebugTraceContext = m_previous; }
    CTraceContext(const CTraceContext&) = delete;
    CTraceContext& operator=(const CTraceContext&) = delete;

private:
    const char* m_previous;
};

}  // namespace NTest

#endif
