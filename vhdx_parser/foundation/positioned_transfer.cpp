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

/// Sets the bad bit without the exception that the host may have asked for with it.
void MarkBad(std::basic_ios<unsigned char>& stream) {
    try {
        stream.setstate(std::ios_base::badbit);
    } catch (const std::ios_base::failure&) {  // NOLINT(bugprone-empty-catch): the bit is set
    }
}

/// The position that the stream's buffer answers, negative when it has none. A buffer that throws
/// is treated as the standard's own reads do it: the stream turns bad, and the exception gets out
/// only where the host asked for that.
template <class TQuestion>
std::streamoff Ask(std::basic_ios<unsigned char>& stream, TQuestion question) {
    try {
        return question(*stream.rdbuf());
    } catch (...) {
        MarkBad(stream);
        if ((stream.exceptions() & std::ios_base::badbit) != 0) {
            throw;
        }
        return -1;
    }
}

/// The size in bytes of a stream that can tell it. One that cannot say where it stands is not moved
/// for the question, because it could not be brought back. One that does not come back is marked as
/// failed: nothing may be read from it elsewhere.
std::optional<std::uint64_t> KnownSize(std::basic_ios<unsigned char>& stream) {
    using CBuffer = std::basic_streambuf<unsigned char>;
    constexpr auto in = std::ios_base::in;
    if (stream.rdbuf() == nullptr) {
        return std::nullopt;
    }
    const auto seek = [](std::ios_base::seekdir from) {
        return [from](CBuffer& buffer) { return buffer.pubseekoff(0, from, in); };
    };
    const std::streamoff here = Ask(stream, seek(std::ios_base::cur));
    const std::streamoff end = here < 0 ? here : Ask(stream, seek(std::ios_base::end));
    if (end < 0) {
        return std::nullopt;
    }
    if (Ask(stream, [here](CBuffer& buffer) { return buffer.pubseekpos(here, in); }) != here) {
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
