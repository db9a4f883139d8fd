#include "tests/support/bytes.h"

#include <algorithm>
#include <stdexcept>

namespace NTest {
namespace {

unsigned char HexDigit(char digit) {
    constexpr std::string_view digits = "0123456789ABCDEFabcdef";
    const std::size_t found = digits.find(digit);
    if (found == std::string_view::npos) {
        throw std::invalid_argument("not a hexadecimal digit");
    }
    return static_cast<unsigned char>(found < 16 ? found : found - 6);
}

constexpr std::array<std::uint32_t, 256> MakeCrcTable() {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t index = 0; index < 256; ++index) {
        std::uint32_t value = index;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value & 1) != 0 ? (value >> 1) ^ 0x82F63B78u : value >> 1;
        }
        table[index] = value;
    }
    return table;
}

constexpr std::array<std::uint32_t, 256> crcTable = MakeCrcTable();

}  // namespace

void PutLittleEndian(CBytes& bytes, std::size_t offset, std::uint64_t value, std::size_t width) {
    bytes.resize(std::max(bytes.size(), offset + width));
    for (std::size_t index = 0; index < width; ++index) {
        bytes[offset + index] = static_cast<unsigned char>(value >> (8 * index));
    }
}

void PutBytes(CBytes& target, std::size_t offset, std::span<const unsigned char> bytes) {
    target.resize(std::max(target.size(), offset + bytes.size()));
    std::copy(bytes.begin(), bytes.end(), target.begin() + static_cast<std::ptrdiff_t>(offset));
}

void AppendUtf16(CBytes& target, std::u16string_view text) {
    for (const char16_t unit : text) {
        Put16(target, target.size(), static_cast<std::uint16_t>(unit));
    }
}

std::uint64_t LittleEndian(std::span<const unsigned char> bytes) {
    std::uint64_t value = 0;
    for (std::size_t index = bytes.size(); index > 0; --index) {
        value = (value << 8) | bytes[index - 1];
    }
    return value;
}

CGuid Guid(std::string_view text) {
    constexpr std::string_view form = "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}";
    // Where each pair of digits lands: the first three groups are numbers, least significant first.
    constexpr std::array<std::size_t, 16> places = {3, 2, 1,  0,  5,  4,  7,  6,
                                                    8, 9, 10, 11, 12, 13, 14, 15};
    if (text.size() != form.size()) {
        throw std::invalid_argument("not a GUID");
    }
    CGuid guid{};
    std::size_t pair = 0;
    for (std::size_t index = 0; index < form.size(); ++index) {
        if (form[index] == 'x') {
            guid[places[pair++]] =
                static_cast<unsigned char>(HexDigit(text[index]) << 4 | HexDigit(text[index + 1]));
            ++index;
        } else if (form[index] != text[index]) {
            throw std::invalid_argument("not a GUID");
        }
    }
    return guid;
}

std::uint32_t Crc32c(std::span<const unsigned char> bytes) {
    std::uint32_t value = 0xFFFFFFFFu;
    for (const unsigned char byte : bytes) {
        value = crcTable[(value ^ byte) & 0xFF] ^ (value >> 8);
    }
    return ~value;
}

}  // namespace NTest
