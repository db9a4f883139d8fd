#ifndef VHDX_HOST_STREAM_READ_H
#define VHDX_HOST_STREAM_READ_H

/// Positioned reads from byte streams.

#include <cstdint>
#include <istream>
#include <limits>
#include <span>

namespace NVHDXHost {

using CByteStream = std::basic_istream<unsigned char>;

/// The largest position that a stream can reach.
inline constexpr std::uint64_t LargestPosition =
    static_cast<std::uint64_t>(std::numeric_limits<std::streamoff>::max());

/// Reads all of `bytes` from the position, whatever state an earlier read left the stream in.
/// False when the stream has fewer bytes there or cannot be read.
[[nodiscard]] inline bool ReadAt(CByteStream& stream, std::uint64_t position,
                                 std::span<unsigned char> bytes) {
    if (position > LargestPosition) {
        return false;
    }
    stream.clear();
    stream.seekg(std::streampos(static_cast<std::streamoff>(position)));
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return !stream.fail();
}

/// The size of the stream in bytes; 0 when it cannot tell.
[[nodiscard]] inline std::uint64_t SizeOf(CByteStream& stream) {
    stream.clear();
    stream.seekg(0, std::ios_base::end);
    const std::streamoff size = stream.tellg();
    return size < 0 ? 0 : static_cast<std::uint64_t>(size);
}

}  // namespace NVHDXHost

#endif
