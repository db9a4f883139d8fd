#ifndef VHDX_PARSER_TOOLS_VHDX_TRACE_WRITER_H
#define VHDX_PARSER_TOOLS_VHDX_TRACE_WRITER_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <vhdx_parser/debug_trace.h>

namespace NTool {

/// Listens to the library for as long as it lives: prints the lines of the level asked for and of
/// coarser (higher) ones to standard error, and remembers the last failure.
class CTraceWriter final : public NDebugTrace::IWriter {
public:
    /// Without a level nothing is printed.
    explicit CTraceWriter(std::optional<std::uint32_t> level);
    CTraceWriter(const CTraceWriter&) = delete;
    CTraceWriter& operator=(const CTraceWriter&) = delete;
    ~CTraceWriter();

    void WriteNarrow(const std::string& line, std::uint32_t level) override;
    void WriteWide(const std::wstring& line, std::uint32_t level) override;

    /// Whether lines are printed, and not only listened to.
    bool IsPrinting() const { return m_level.has_value(); }

    /// The last failure that the library traced, safe to print; `otherwise` when there was none,
    /// since a few refusals are not traced.
    std::string FailureOr(std::string_view otherwise) const;

    /// Takes the writer off while the library would compose a line for every block that nobody
    /// wants to see; with a level asked for, the lines are wanted and it stays.
    class CPause {
    public:
        explicit CPause(const CTraceWriter& writer);
        CPause(const CPause&) = delete;
        CPause& operator=(const CPause&) = delete;
        ~CPause();

    private:
        NDebugTrace::IWriter* m_paused;
    };

private:
    void Take(std::string line, std::uint32_t level);

    std::optional<std::uint32_t> m_level;
    std::string m_failure;
};

}  // namespace NTool

#endif
