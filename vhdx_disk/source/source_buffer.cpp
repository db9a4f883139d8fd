#include "vhdx_disk/source/source_buffer.h"

#include <algorithm>
#include <limits>

#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/source/read_bytes.h"

namespace NVHDXDisk {

CSourceBuffer::pos_type CSourceBuffer::seekoff(off_type offset, std::ios_base::seekdir direction,
                                               std::ios_base::openmode which) {
    off_type start = 0;
    if (direction == std::ios_base::cur) {
        start = static_cast<off_type>(m_position);
    } else if (direction == std::ios_base::end) {
        start = static_cast<off_type>(m_source->Size());
    }
    if (offset > 0 && offset > std::numeric_limits<off_type>::max() - start) {
        return pos_type(off_type(-1));
    }
    return seekpos(pos_type(start + offset), which);
}

/// Positions past the end can be reached, as in a file; only reading there comes up short.
CSourceBuffer::pos_type CSourceBuffer::seekpos(pos_type position, std::ios_base::openmode which) {
    if ((which & std::ios_base::in) == 0 || off_type(position) < 0) {
        return pos_type(off_type(-1));
    }
    m_position = static_cast<std::uint64_t>(off_type(position));
    return position;
}

std::streamsize CSourceBuffer::xsgetn(char_type* bytes, std::streamsize count) {
    return count <= 0
               ? 0
               : static_cast<std::streamsize>(Read(bytes, static_cast<std::uint64_t>(count)));
}

CSourceBuffer::int_type CSourceBuffer::underflow() {
    const int_type byte = uflow();
    if (!traits_type::eq_int_type(byte, traits_type::eof())) {
        --m_position;
    }
    return byte;
}

CSourceBuffer::int_type CSourceBuffer::uflow() {
    unsigned char byte = 0;
    return Read(&byte, 1) == 1 ? traits_type::to_int_type(byte) : traits_type::eof();
}

std::uint64_t CSourceBuffer::Read(unsigned char* bytes, std::uint64_t count) {
    const std::uint64_t size = m_source->Size();
    count = std::min(count, m_position < size ? size - m_position : 0);
    if (count == 0 || !ReadHere(bytes, count)) {
        return 0;
    }
    m_position += count;
    return count;
}

bool CSourceBuffer::ReadHere(unsigned char* bytes, std::uint64_t count) {
    if (count >= m_piece.size()) {
        return ReadOrRemember(bytes, count);
    }
    if (!HasPiece(count)) {
        m_pieceBegin = m_position;
        m_pieceLength = std::min<std::uint64_t>(m_piece.size(), m_source->Size() - m_position);
        CFailure wasMoreThanAsked;
        if (!ReadBytes(*m_source, m_pieceBegin, m_piece.data(),
                       static_cast<std::size_t>(m_pieceLength), wasMoreThanAsked)) {
            m_pieceLength = 0;
            return ReadOrRemember(bytes, count);
        }
    }
    std::copy_n(m_piece.begin() + static_cast<std::ptrdiff_t>(m_position - m_pieceBegin), count,
                bytes);
    return true;
}

bool CSourceBuffer::ReadOrRemember(unsigned char* bytes, std::uint64_t count) {
    CFailure cause;
    if (ReadBytes(*m_source, m_position, bytes, static_cast<std::size_t>(count), cause)) {
        return true;
    }
    if (!IsRefused(m_refusal) && IsRefused(cause)) {
        m_refusal = cause;
    }
    return false;
}

CFailure CSourceBuffer::RefusalOf(const std::basic_istream<unsigned char>& stream) {
    const auto* const buffer = dynamic_cast<const CSourceBuffer*>(stream.rdbuf());
    return buffer == nullptr ? CFailure() : buffer->m_refusal;
}

bool CSourceBuffer::HasPiece(std::uint64_t count) const {
    return m_position >= m_pieceBegin && m_position - m_pieceBegin <= m_pieceLength &&
           count <= m_pieceLength - (m_position - m_pieceBegin);
}

}  // namespace NVHDXDisk
