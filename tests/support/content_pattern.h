#ifndef VHDX_PARSER_TESTS_SUPPORT_CONTENT_PATTERN_H
#define VHDX_PARSER_TESTS_SUPPORT_CONTENT_PATTERN_H

/// Content that a model can foretell: every byte follows from a seed and its place on the disk.

#include <cstdint>

#include "tests/support/bytes.h"

namespace NTest {

unsigned char PatternByte(std::uint64_t seed, std::uint64_t virtualOffset);

/// The bytes [virtualOffset, virtualOffset + length) of the pattern.
CBytes Pattern(std::uint64_t seed, std::uint64_t virtualOffset, std::uint64_t length);

}  // namespace NTest

#endif
