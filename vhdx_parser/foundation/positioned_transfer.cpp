#include "vhdx_parser/foundation/positioned_transfer.h"

#include <limits>
#include <optional>
#include <streambuf>

#include "vhdx_parser/foundation/trace.h"

namespace NStreamPortion {

namespace {

constexpr std::uint64_t LargestStreamSize =
    static_cast<std::uint64_t>(std::numeric_limits<std::streamsize>::max());

/// Portions up to this size cost too little memory to ask for the size of the stream first.
constexpr std::uint64_t SmallPortion = 1048576;

/// Points the stream buffer at the block of the transfer, so that it needs no buffer of its own.
/// libstdc++ moves large portions directly anyway; its file buffer ignores the call on an open file
/// and its string buffer would take the block for its content, so there the call is left out.
void HandBlockToStreamBuffer(std::basic_ios<unsigned char>& stream, const void* block,
                             std::uint64_t count) {
#if defined(__GLIBCXX__)
    (void)stream;
    (void)block;
    (void)count;
#else
    stream.rdbuf()->pubsetbuf(static_cast<unsigned char*>(const_cast<void*>(block)),
                              static_cast<std::streamsize>(count));
#endif
}

std::streampos PositionInStream(std::uint64_t position) {
    return std::streampos(static_cast<std::streamoff>(position));
}

/// Under the sentry a tied stream is flushed before, and a unit-buffered stream after the seek.
///
/// As a seek for input does, this takes back that the end was seen. A stream in that state has not
/// failed, but it would neither seek nor take bytes, and nothing would tell that none were written.
bool SeekOutput(std::basic_ostream<unsigned char>& stream, std::uint64_t position) {
    if (IsGood(stream)) {
        stream.clear();
    }
    {
        const std::basic_ostream<unsigned char>::sentry sentry(stream);
        if (sentry) {
            stream.seekp(PositionInStream(position));
        }
    }
    return IsGood(stream);
}

/// Only reports: the write takes place all the same.
void CompareOutputPosition(std::basic_ostream<unsigned char>& stream, std::uint64_t position) {
    const std::int64_t wanted = static_cast<std::int64_t>(position);
    const std::int64_t actual = static_cast<std::int64_t>(std::streamoff(stream.tellp()));
    if (actual != wanted) {
        NDebugTrace::Trace(NDebugTrace::levelPosition,
                           "Write data. Failed to set possition \". Offset", wanted, "\" <> ", "\"",
                           actual, "\"");
    }
}

/// The size in bytes of a stream that can tell it. A stream that does not come back to where it
/// stood is marked as failed: nothing may be read from it elsewhere.
std::optional<std::uint64_t> KnownSize(std::basic_ios<unsigned char>& stream) {
    if (stream.rdbuf() == nullptr) {
        return std::nullopt;
    }
    std::basic_streambuf<unsigned char>& buffer = *stream.rdbuf();
    const std::streamoff here = buffer.pubseekoff(0, std::ios_base::cur, std::ios_base::in);
    const std::streamoff end = buffer.pubseekoff(0, std::ios_base::end, std::ios_base::in);
    if (here < 0 || end < 0) {
        return std::nullopt;
    }
    if (std::streamoff(buffer.pubseekpos(here, std::ios_base::in)) != here) {
        stream.setstate(std::ios_base::failbit);
    }
    return static_cast<std::uint64_t>(end);
}

/// A count that a stream cannot express fails like a transfer that comes up short.
bool FitsStream(std::basic_ios<unsigned char>& stream, std::uint64_t count) {
    if (count > LargestStreamSize) {
        stream.setstate(std::ios_base::failbit);
    }
    return count <= LargestStreamSize;
}

}  // namespace

bool IsGood(const std::basic_ios<unsigned char>& stream) {
    return !stream.fail();
}

bool SeekInput(std::basic_istream<unsigned char>& stream, std::uint64_t position) {
    stream.seekg(PositionInStream(position));
    return IsGood(stream);
}

bool ReadBlock(std::basic_istream<unsigned char>& stream, void* block, std::uint64_t count) {
    if (!FitsStream(stream, count)) {
        return false;
    }
    HandBlockToStreamBuffer(stream, block, count);
    stream.read(static_cast<unsigned char*>(block), static_cast<std::streamsize>(count));
    return IsGood(stream);
}

bool ReadData(std::basic_istream<unsigned char>& stream, std::uint64_t position, void* block,
              std::uint64_t count) {
    return SeekInput(stream, position) && ReadBlock(stream, block, count);
}

bool IsPastEnd(std::basic_ios<unsigned char>& stream, std::uint64_t position) {
    const auto size = KnownSize(stream);
    return size && *size < position;
}

bool MayHold(std::basic_ios<unsigned char>& stream, std::uint64_t position, std::uint64_t count) {
    if (count <= SmallPortion) {
        return true;
    }
    const auto size = KnownSize(stream);
    if (size && (position > *size || count > *size - position)) {
        stream.setstate(std::ios_base::failbit | std::ios_base::eofbit);
    }
    return IsGood(stream);
}

bool WriteData(std::basic_ostream<unsigned char>& stream, const void* block, std::uint64_t position,
               std::uint64_t count) {
    if (!SeekOutput(stream, position) || !FitsStream(stream, count)) {
        return false;
    }
    CompareOutputPosition(stream, position);
    HandBlockToStreamBuffer(stream, block, count);
    stream.write(static_cast<const unsigned char*>(block), static_cast<std::streamsize>(count));
    return IsGood(stream);
}

bool Transfer(std::basic_ios<unsigned char>& stream, std::uint64_t position, unsigned char* block,
              std::uint64_t count, bool read) {
    if (read) {
        auto* const input = dynamic_cast<std::basic_istream<unsigned char>*>(&stream);
        return input != nullptr && ReadData(*input, position, block, count);
    }
    auto* const output = dynamic_cast<std::basic_ostream<unsigned char>*>(&stream);
    return output != nullptr && WriteData(*output, block, position, count);
}

}  // namespace NStreamPortion
