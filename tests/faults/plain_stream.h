#ifndef VHDX_PARSER_TESTS_FAULTS_PLAIN_STREAM_H
#define VHDX_PARSER_TESTS_FAULTS_PLAIN_STREAM_H

#include <algorithm>
#include <istream>
#include <streambuf>

#include <vhdx_parser/debug_trace.h>

#include "tests/support/sparse_image.h"

namespace NTest {

/// A stream buffer over bytes in memory that allocates nothing: an allocation inside a stream
/// operation would end as the stream's failure, and hide what the library does about its own.
class CPlainBuffer : public std::basic_streambuf<unsigned char> {
public:
    explicit CPlainBuffer(CBytes bytes) : m_bytes(std::move(bytes)) {
        setg(m_bytes.data(), m_bytes.data(), m_bytes.data() + m_bytes.size());
    }

protected:
    pos_type seekoff(off_type offset, std::ios_base::seekdir direction,
                     std::ios_base::openmode which) override {
        const off_type start = direction == std::ios_base::beg   ? 0
                               : direction == std::ios_base::cur ? gptr() - eback()
                                                                 : egptr() - eback();
        return seekpos(start + offset, which);
    }
    pos_type seekpos(pos_type position, std::ios_base::openmode) override {
        const off_type target = position;
        if (target < 0 || target > egptr() - eback()) {
            return pos_type(off_type(-1));
        }
        setg(eback(), eback() + target, egptr());
        return position;
    }
    std::streamsize xsputn(const char_type* bytes, std::streamsize count) override {
        const std::streamsize taken = std::min<std::streamsize>(count, egptr() - gptr());
        std::copy_n(bytes, taken, gptr());
        setg(eback(), gptr() + taken, egptr());
        return taken;
    }

private:
    CBytes m_bytes;
};

/// Both directions over the whole image.
class CPlainStream : private CPlainBuffer, public std::basic_iostream<unsigned char> {
public:
    explicit CPlainStream(const CSparseImage& image)
        : CPlainBuffer(image.Bytes(0, image.Size())),
          std::basic_iostream<unsigned char>(static_cast<CPlainBuffer*>(this)) {}
};

/// Listens, so that every line is composed, and keeps nothing.
class CDeafWriter final : public NDebugTrace::IWriter {
public:
    CDeafWriter() { NDebugTrace::g_pwriter = this; }
    ~CDeafWriter() { NDebugTrace::g_pwriter = nullptr; }
    CDeafWriter(const CDeafWriter&) = delete;
    CDeafWriter& operator=(const CDeafWriter&) = delete;

    void WriteNarrow(const std::string&, std::uint32_t) override {}
    void WriteWide(const std::wstring&, std::uint32_t) override {}
};

}  // namespace NTest

#endif
