#include "tools/vhdx/passing_buffer.h"

#include <algorithm>
#include <utility>

namespace NTool {

CPassingBuffer::CPassingBuffer(std::basic_streambuf<unsigned char>& source, CReport report)
    : m_source(source), m_report(std::move(report)) {}

CPassingBuffer::pos_type CPassingBuffer::seekoff(off_type offset, std::ios_base::seekdir direction,
                                                 std::ios_base::openmode which) {
    return m_source.pubseekoff(offset, direction, which);
}

CPassingBuffer::pos_type CPassingBuffer::seekpos(pos_type position, std::ios_base::openmode which) {
    return m_source.pubseekpos(position, which);
}

std::streamsize CPassingBuffer::xsgetn(char_type* /*bytes*/, std::streamsize count) {
    std::streamsize done = 0;
    while (done < count) {
        const auto wanted = std::min(count - done, static_cast<std::streamsize>(pieceSize));
        m_piece.resize(static_cast<std::size_t>(wanted));
        const std::streamsize got = m_source.sgetn(m_piece.data(), wanted);
        if (got != wanted) {
            break;
        }
        m_report(m_piece);
        done += got;
    }
    return done;
}

}  // namespace NTool
