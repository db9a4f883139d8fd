#ifndef VHDX_TOOLS_VHDX_TEXT_STREAM_H
#define VHDX_TOOLS_VHDX_TEXT_STREAM_H

#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace NTool {

/// A text that comes in pieces and is read a character or a line at a time, so that it need not fit
/// into memory.
class CTextStream {
public:
    /// The next piece, which stays as it is until the call after; an empty one at the end.
    using CNextPiece = std::function<std::string_view()>;

    explicit CTextStream(CNextPiece next) : m_next(std::move(next)) {}
    /// A text that lies in memory, as long as this is read.
    explicit CTextStream(std::string_view text);
    CTextStream(const CTextStream&) = delete;
    CTextStream& operator=(const CTextStream&) = delete;

    /// The first character that is neither a blank nor the end of a line; 0 where there is none. To
    /// be asked before anything is read, and takes nothing off the text.
    char FirstVisible();

    bool IsAtEnd();
    /// The next character of a text that is not at its end.
    char Peek() const { return m_piece.front(); }
    void Skip() { m_piece.remove_prefix(1); }

    /// Takes a line off the text, without its end. False at the end of the text.
    bool ReadLine(std::string& line);

private:
    CNextPiece m_next;
    std::string m_looked;  ///< the pieces that `FirstVisible` looked at
    std::string_view m_piece;
};

}  // namespace NTool

#endif
