#include "tests/support/test_stream.h"

#include <algorithm>

namespace NTest {
namespace {

CTestStreamBuffer::pos_type Failure() {
    return CTestStreamBuffer::pos_type(CTestStreamBuffer::off_type(-1));
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const CPortion& portion) {
    return out << portion.length << " bytes at " << portion.position;
}

void CTestStreamBuffer::FailRead(std::uint64_t n, std::uint64_t delivered) {
    m_failedRead = n;
    m_delivered = delivered;
}

void CTestStreamBuffer::FailWrite(std::uint64_t n, std::uint64_t taken) {
    m_failedWrite = n;
    m_taken = taken;
}

void CTestStreamBuffer::ClearRecords() {
    m_seeks.clear();
    m_reads.clear();
    m_writes.clear();
    m_flushes = 0;
}

CTestStreamBuffer::pos_type CTestStreamBuffer::seekoff(off_type offset,
                                                       std::ios_base::seekdir direction,
                                                       std::ios_base::openmode) {
    if (direction == std::ios_base::cur && offset == 0) {
        return pos_type(static_cast<off_type>(m_position));
    }
    if (direction == std::ios_base::cur) {
        offset += static_cast<off_type>(m_position);
    } else if (direction == std::ios_base::end) {
        offset += static_cast<off_type>(m_image.Size());
    }
    return SeekTo(offset);
}

CTestStreamBuffer::pos_type CTestStreamBuffer::seekpos(pos_type position, std::ios_base::openmode) {
    return SeekTo(off_type(position));
}

CTestStreamBuffer::pos_type CTestStreamBuffer::SeekTo(off_type position) {
    m_seeks.push_back(static_cast<std::uint64_t>(position));
    if (m_seeks.size() == m_failedSeek || position < 0) {
        return Failure();
    }
    if (m_refusesSeekPastEnd && static_cast<std::uint64_t>(position) > m_image.Size()) {
        return Failure();
    }
    if (!m_ignoresPositioning) {
        m_position = static_cast<std::uint64_t>(position);
    }
    return pos_type(position);
}

std::streamsize CTestStreamBuffer::xsgetn(char_type* bytes, std::streamsize count) {
    std::uint64_t wanted = static_cast<std::uint64_t>(std::max<std::streamsize>(count, 0));
    m_reads.push_back({m_position, wanted});
    if (m_reads.size() == m_failedRead) {
        wanted = std::min(wanted, m_delivered);
    }
    const std::uint64_t delivered =
        m_image.Read(m_position, std::span(bytes, static_cast<std::size_t>(wanted)));
    m_position += delivered;
    return static_cast<std::streamsize>(delivered);
}

std::streamsize CTestStreamBuffer::xsputn(const char_type* bytes, std::streamsize count) {
    std::uint64_t wanted = static_cast<std::uint64_t>(std::max<std::streamsize>(count, 0));
    m_writes.push_back({m_position, wanted});
    if (m_writes.size() == m_failedWrite) {
        wanted = std::min(wanted, m_taken);
    }
    if (wanted > 0) {
        m_image.Write(m_position, std::span(bytes, static_cast<std::size_t>(wanted)));
        m_position += wanted;
    }
    return static_cast<std::streamsize>(wanted);
}

CTestStreamBuffer::int_type CTestStreamBuffer::underflow() {
    unsigned char byte = 0;
    return m_image.Read(m_position, std::span(&byte, 1)) == 1 ? traits_type::to_int_type(byte)
                                                              : traits_type::eof();
}

CTestStreamBuffer::int_type CTestStreamBuffer::uflow() {
    unsigned char byte = 0;
    return xsgetn(&byte, 1) == 1 ? traits_type::to_int_type(byte) : traits_type::eof();
}

CTestStreamBuffer::int_type CTestStreamBuffer::overflow(int_type byte) {
    if (traits_type::eq_int_type(byte, traits_type::eof())) {
        return traits_type::not_eof(byte);
    }
    const unsigned char single = traits_type::to_char_type(byte);
    return xsputn(&single, 1) == 1 ? byte : traits_type::eof();
}

int CTestStreamBuffer::sync() {
    ++m_flushes;
    return 0;
}

}  // namespace NTest
