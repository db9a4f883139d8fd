#ifndef VHDX_PARSER_TOOLS_VHDX_PASSING_BUFFER_H
#define VHDX_PARSER_TOOLS_VHDX_PASSING_BUFFER_H

#include <cstdint>
#include <functional>
#include <span>
#include <streambuf>
#include <vector>

namespace NTool {

/// Lets what is read from another buffer pass by in pieces instead of storing it: the destination
/// of a read stays as it was, and memory is that of one piece however much is read.
class CPassingBuffer final : public std::basic_streambuf<unsigned char> {
public:
    /// Every piece but the last of a read has this size: few calls, and it stays in the cache.
    static constexpr std::size_t pieceSize = std::size_t{64} * 1024;
    using CReport = std::function<void(std::span<const unsigned char>)>;

    /// `source` must outlive this buffer and is moved by it.
    CPassingBuffer(std::basic_streambuf<unsigned char>& source, CReport report);

protected:
    pos_type seekoff(off_type offset, std::ios_base::seekdir direction,
                     std::ios_base::openmode which) override;
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override;
    std::streamsize xsgetn(char_type* bytes, std::streamsize count) override;

private:
    std::basic_streambuf<unsigned char>& m_source;
    CReport m_report;
    std::vector<unsigned char> m_piece;
};

}  // namespace NTool

#endif
