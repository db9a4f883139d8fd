#ifndef VHDX_PARSER_TESTS_SUPPORT_TEST_STREAM_H
#define VHDX_PARSER_TESTS_SUPPORT_TEST_STREAM_H

/// Byte streams over an image in memory that keep a record of what was asked of them and that fail
/// when a test wants it.
///
///     CInputStream stream(image);              // or CInputStream stream(builder.Build());
///     stream.Buffer().FailRead(3);             // the third read delivers nothing
///     ...
///     EXPECT_THAT(stream.Buffer().Reads(), ElementsAre(Portion(0, 520), Portion(65536, 4096)));

#include <istream>
#include <memory>
#include <ostream>
#include <streambuf>
#include <vector>

#include "tests/support/sparse_image.h"

namespace NTest {

/// Bytes asked of a stream in one call: from where it stood, and how many.
struct CPortion {
    std::uint64_t position;
    std::uint64_t length;

    friend bool operator==(const CPortion&, const CPortion&) = default;
};

std::ostream& operator<<(std::ostream& out, const CPortion& portion);

inline CPortion Portion(std::uint64_t position, std::uint64_t length) {
    return {position, length};
}

/// An unbuffered stream buffer with one position for both directions, as a file has it.
/// Positions past the end can be reached, as in a file, and only reading there comes up short.
/// Every count in this class starts at 1 and 0 stands for "never".
class CTestStreamBuffer : public std::basic_streambuf<unsigned char> {
public:
    explicit CTestStreamBuffer(CSparseImage& image) : m_image(image) {}

    /// The n-th seek reports failure and does not move. Asking for the position is not a seek.
    void FailSeek(std::uint64_t n) { m_failedSeek = n; }
    /// The n-th read delivers only the first `delivered` bytes of what it was asked for.
    void FailRead(std::uint64_t n, std::uint64_t delivered = 0);
    /// The n-th write takes only the first `taken` bytes of what it was given.
    void FailWrite(std::uint64_t n, std::uint64_t taken = 0);
    /// Seeks succeed and stay where the stream is: it "reaches elsewhere".
    void IgnorePositioning() { m_ignoresPositioning = true; }
    /// Seeks past the end fail, as in a string stream.
    void RefuseSeekPastEnd() { m_refusesSeekPastEnd = true; }

    /// The position that each seek asked for.
    const std::vector<std::uint64_t>& Seeks() const { return m_seeks; }
    const std::vector<CPortion>& Reads() const { return m_reads; }
    const std::vector<CPortion>& Writes() const { return m_writes; }
    std::uint64_t Flushes() const { return m_flushes; }
    std::uint64_t Position() const { return m_position; }
    CSparseImage& Image() { return m_image; }

    /// Forgets the records; the failures to come are counted anew.
    void ClearRecords();

protected:
    pos_type seekoff(off_type offset, std::ios_base::seekdir direction,
                     std::ios_base::openmode which) override;
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override;
    std::streamsize xsgetn(char_type* bytes, std::streamsize count) override;
    std::streamsize xsputn(const char_type* bytes, std::streamsize count) override;
    int_type underflow() override;
    int_type uflow() override;
    int_type overflow(int_type byte) override;
    int sync() override;

private:
    pos_type SeekTo(off_type position);

    CSparseImage& m_image;
    std::uint64_t m_position = 0;
    std::uint64_t m_failedSeek = 0;
    std::uint64_t m_failedRead = 0;
    std::uint64_t m_delivered = 0;
    std::uint64_t m_failedWrite = 0;
    std::uint64_t m_taken = 0;
    bool m_ignoresPositioning = false;
    bool m_refusesSeekPastEnd = false;
    std::vector<std::uint64_t> m_seeks;
    std::vector<CPortion> m_reads;
    std::vector<CPortion> m_writes;
    std::uint64_t m_flushes = 0;
};

/// Holds the buffer, and the image too when it was handed over, before the stream base uses them.
class CTestStreamStorage {
public:
    explicit CTestStreamStorage(CSparseImage& image) : m_buffer(image) {}
    explicit CTestStreamStorage(CSparseImage&& image)
        : m_owned(std::make_unique<CSparseImage>(std::move(image))), m_buffer(*m_owned) {}

    CTestStreamBuffer& Buffer() { return m_buffer; }
    CSparseImage& Image() { return m_buffer.Image(); }

private:
    std::unique_ptr<CSparseImage> m_owned;
    CTestStreamBuffer m_buffer;
};

/// A stream of the given base on an image: a caller's, which must outlive it, or one of its own.
template <class TStream>
class CTestStream : public CTestStreamStorage, public TStream {
public:
    explicit CTestStream(CSparseImage& image) : CTestStreamStorage(image), TStream(&Buffer()) {}
    explicit CTestStream(CSparseImage&& image)
        : CTestStreamStorage(std::move(image)), TStream(&Buffer()) {}
};

using CInputStream = CTestStream<std::basic_istream<unsigned char>>;
using COutputStream = CTestStream<std::basic_ostream<unsigned char>>;
using CInputOutputStream = CTestStream<std::basic_iostream<unsigned char>>;

}  // namespace NTest

#endif
