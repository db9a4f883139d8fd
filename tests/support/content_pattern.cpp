#include "tests/support/content_pattern.h"

namespace NTest {
namespace {

/// Mixes all bits of the seed and of the number of the eight-byte word.
std::uint64_t PatternWord(std::uint64_t seed, std::uint64_t word) {
    std::uint64_t value = (word + 1) * 0x9E3779B97F4A7C15u + seed * 0xD1B54A32D192ED03u;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9u;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBu;
    return value ^ (value >> 31);
}

}  // namespace

unsigned char PatternByte(std::uint64_t seed, std::uint64_t virtualOffset) {
    return static_cast<unsigned char>(PatternWord(seed, virtualOffset / 8) >>
                                      (8 * (virtualOffset % 8)));
}

CBytes Pattern(std::uint64_t seed, std::uint64_t virtualOffset, std::uint64_t length) {
    CBytes bytes(static_cast<std::size_t>(length));
    unsigned char* byte = bytes.data();
    const std::uint64_t end = virtualOffset + length;
    for (std::uint64_t offset = virtualOffset; offset != end;) {
        const std::uint64_t word = PatternWord(seed, offset / 8);
        do {
            *byte++ = static_cast<unsigned char>(word >> (8 * (offset % 8)));
        } while (++offset % 8 != 0 && offset != end);
    }
    return bytes;
}

}  // namespace NTest
