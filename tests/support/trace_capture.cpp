#include "tests/support/trace_capture.h"

#include <algorithm>
#include <iterator>

namespace NTest {
namespace {

void AppendUtf8(std::string& text, std::uint32_t code) {
    const auto append = [&text](std::uint32_t byte) { text.push_back(static_cast<char>(byte)); };
    if (code < 0x80) {
        append(code);
        return;
    }
    if (code < 0x800) {
        append(0xC0 | code >> 6);
    } else {
        if (code < 0x10000) {
            append(0xE0 | code >> 12);
        } else {
            append(0xF0 | (code >> 18 & 0x07));
            append(0x80 | (code >> 12 & 0x3F));
        }
        append(0x80 | (code >> 6 & 0x3F));
    }
    append(0x80 | (code & 0x3F));
}

/// Joins surrogate pairs, which wide texts hold where wchar_t has 16 bits.
std::string Narrow(const std::wstring& wide) {
    std::string narrow;
    for (std::size_t index = 0; index < wide.size(); ++index) {
        std::uint32_t code = static_cast<std::uint32_t>(wide[index]);
        if (code >= 0xD800 && code < 0xDC00 && index + 1 < wide.size()) {
            const std::uint32_t low = static_cast<std::uint32_t>(wide[index + 1]);
            if (low >= 0xDC00 && low < 0xE000) {
                code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
                ++index;
            }
        }
        AppendUtf8(narrow, code);
    }
    return narrow;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const CTraceLine& line) {
    return out << (line.wide ? "wide " : "") << "level " << line.level << " [" << line.text << ']';
}

void CTraceCapture::WriteNarrow(const std::string& line, std::uint32_t level) {
    m_lines.push_back({level, line, false});
}

void CTraceCapture::WriteWide(const std::wstring& line, std::uint32_t level) {
    m_lines.push_back({level, Narrow(line), true});
}

std::vector<CTraceLine> CTraceCapture::LinesAt(std::uint32_t level) const {
    std::vector<CTraceLine> lines;
    std::copy_if(m_lines.begin(), m_lines.end(), std::back_inserter(lines),
                 [level](const CTraceLine& line) { return line.level == level; });
    return lines;
}

}  // namespace NTest
