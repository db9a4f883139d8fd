#include "tools/vhdx/trace_writer.h"

#include <cstdio>
#include <utility>

#include "tools/vhdx/text.h"

namespace NTool {

namespace {

constexpr std::uint32_t levelFailure = 3;

void PrintLine(std::string line) {
    line.push_back('\n');
    // Where standard error cannot take the line there is nobody left to tell.
    (void)std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace

CTraceWriter::CTraceWriter(std::optional<std::uint32_t> level) : m_level(level) {
    NDebugTrace::g_pwriter = this;
}

CTraceWriter::~CTraceWriter() {
    NDebugTrace::g_pwriter = nullptr;
}

void CTraceWriter::WriteNarrow(const std::string& line, std::uint32_t level) {
    if (m_level || level == levelFailure) {
        Take(line, level);
    }
}

void CTraceWriter::WriteWide(const std::wstring& line, std::uint32_t level) {
    if (m_level || level == levelFailure) {
        Take(Utf8(line), level);
    }
}

std::string CTraceWriter::FailureOr(std::string_view otherwise) const {
    return m_failure.empty() ? std::string(otherwise) : m_failure;
}

void CTraceWriter::Take(std::string line, std::uint32_t level) {
    line = Printable(line);
    if (level == levelFailure) {
        m_failure = line;
    }
    if (m_level && level >= *m_level) {
        PrintLine(std::move(line));
    }
}

CTraceWriter::CPause::CPause(const CTraceWriter& writer) : m_paused(NDebugTrace::g_pwriter) {
    if (!writer.m_level) {
        NDebugTrace::g_pwriter = nullptr;
    }
}

CTraceWriter::CPause::~CPause() {
    NDebugTrace::g_pwriter = m_paused;
}

}  // namespace NTool
