#ifndef VHDX_PARSER_FOUNDATION_POSITIONED_TRANSFER_H
#define VHDX_PARSER_FOUNDATION_POSITIONED_TRANSFER_H

/// Moves one portion of bytes between a block of memory and a position of a byte stream.
///
/// Positions are absolute, in bytes. An operation has failed when the stream's fail or bad bit is
/// set after it; the end-of-file bit alone is no failure. Nothing is traced for a failure: the
/// callers name it.

#include <cstdint>
#include <ios>
#include <istream>
#include <ostream>

namespace NStreamPortion {

/// Neither the fail nor the bad bit is set.
bool IsGood(const std::basic_ios<unsigned char>& stream);

bool SeekInput(std::basic_istream<unsigned char>& stream, std::uint64_t position);

/// Reads `count` bytes from where the stream stands, with one read straight into `block`.
bool ReadBlock(std::basic_istream<unsigned char>& stream, void* block, std::uint64_t count);

/// `SeekInput`, then `ReadBlock`.
bool ReadData(std::basic_istream<unsigned char>& stream, std::uint64_t position, void* block,
              std::uint64_t count);

/// True when the stream is known to end before `position`. A file can be sought to any position,
/// and only a read there fails; this tells the difference. The stream stands where it stood.
bool IsPastEnd(std::basic_ios<unsigned char>& stream, std::uint64_t position);

/// False when the stream is known to end before `position` + `count`, with the state that the short
/// read would have left. Memory for a large portion that a file merely claims is so never taken.
/// The stream stands where it stood.
bool MayHold(std::basic_ios<unsigned char>& stream, std::uint64_t position, std::uint64_t count);

/// Writes `count` bytes of `block` at `position`. A stream that stands elsewhere after the seek is
/// reported with a line at level 2, and the bytes are written where it stands.
bool WriteData(std::basic_ostream<unsigned char>& stream, const void* block, std::uint64_t position,
               std::uint64_t count);

/// `ReadData` or `WriteData` on a stream that may serve both directions; false when it does not
/// serve the one that is asked for.
bool Transfer(std::basic_ios<unsigned char>& stream, std::uint64_t position, unsigned char* block,
              std::uint64_t count, bool read);

}  // namespace NStreamPortion

#endif
