#include "tools/vhdx/text_stream.h"

#include <utility>

namespace NTool {

CTextStream::CTextStream(std::string_view text)
    : CTextStream([text]() mutable { return std::exchange(text, {}); }) {}

char CTextStream::FirstVisible() {
    for (;;) {
        const std::string_view piece = m_next();
        m_looked.append(piece);
        m_piece = m_looked;
        const std::size_t first = piece.find_first_not_of(" \t\r\n");
        if (piece.empty() || first != piece.npos) {
            return piece.empty() ? '\0' : piece[first];
        }
    }
}

bool CTextStream::IsAtEnd() {
    if (m_piece.empty()) {
        m_piece = m_next();
    }
    return m_piece.empty();
}

bool CTextStream::ReadLine(std::string& line) {
    line.clear();
    const bool isThere = !IsAtEnd();
    while (!IsAtEnd()) {
        const std::size_t end = m_piece.find('\n');
        line.append(m_piece.substr(0, end));
        m_piece.remove_prefix(end == m_piece.npos ? m_piece.size() : end + 1);
        if (end != m_piece.npos) {
            break;
        }
    }
    return isThere;
}

}  // namespace NTool
