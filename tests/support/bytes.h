#ifndef VHDX_PARSER_TESTS_SUPPORT_BYTES_H
#define VHDX_PARSER_TESTS_SUPPORT_BYTES_H

/// Bytes of a disk file, laid out by hand: the tests never use the library's own records to do it.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace NTest {

using CBytes = std::vector<unsigned char>;

/// A GUID as the 16 bytes that a disk file stores.
using CGuid = std::array<unsigned char, 16>;

inline constexpr std::uint64_t KiB = 1024;
inline constexpr std::uint64_t MiB = 1024 * KiB;
inline constexpr std::uint64_t GiB = 1024 * MiB;
inline constexpr std::uint64_t TiB = 1024 * GiB;

/// Puts the low `width` bytes of the value at the offset, least significant first; grows the bytes.
void PutLittleEndian(CBytes& bytes, std::size_t offset, std::uint64_t value, std::size_t width);

inline void Put16(CBytes& bytes, std::size_t offset, std::uint16_t value) {
    PutLittleEndian(bytes, offset, value, 2);
}
inline void Put32(CBytes& bytes, std::size_t offset, std::uint32_t value) {
    PutLittleEndian(bytes, offset, value, 4);
}
inline void Put64(CBytes& bytes, std::size_t offset, std::uint64_t value) {
    PutLittleEndian(bytes, offset, value, 8);
}

/// Puts the bytes at the offset; grows the target.
void PutBytes(CBytes& target, std::size_t offset, std::span<const unsigned char> bytes);

/// Appends text as UTF-16, least significant byte first, without a terminator.
void AppendUtf16(CBytes& target, std::u16string_view text);

/// The number that the bytes spell, least significant first.
std::uint64_t LittleEndian(std::span<const unsigned char> bytes);

/// The GUID of a text such as "{2DC27766-F623-4200-9D64-115E9BFD4A08}"; throws on any other form.
CGuid Guid(std::string_view text);

/// CRC-32C (Castagnoli), the checksum of the disk format's structures.
std::uint32_t Crc32c(std::span<const unsigned char> bytes);

}  // namespace NTest

#endif
