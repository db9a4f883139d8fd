#ifndef VHDX_PARSER_FOUNDATION_LITTLE_ENDIAN_H
#define VHDX_PARSER_FOUNDATION_LITTLE_ENDIAN_H

/// Numbers as they stand on disk: little-endian bytes without alignment, whatever the host's order.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <vhdx_parser/platform.h>

/// The number that the bytes at `bytes` stand for. On a little-endian host this is one load.
template <class TNumber>
TNumber LoadLittleEndian(const unsigned char* bytes) {
    TNumber number = 0;
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(&number, bytes, sizeof(number));
    } else {
        for (std::size_t i = 0; i < sizeof(number); ++i) {
            number = static_cast<TNumber>(number | (static_cast<TNumber>(bytes[i]) << (8 * i)));
        }
    }
    return number;
}

/// Puts the bytes of an unsigned number where `bytes` points. On a little-endian host this is one
/// store.
template <class TNumber>
void StoreLittleEndian(unsigned char* bytes, TNumber number) {
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(bytes, &number, sizeof(number));
    } else {
        for (std::size_t i = 0; i < sizeof(number); ++i) {
            bytes[i] = static_cast<unsigned char>(number >> (8 * i));
        }
    }
}

/// An unsigned number as a field of an on-disk record.
template <class TNumber>
struct CLittleEndian {
    unsigned char bytes[sizeof(TNumber)];

    TNumber Value() const { return LoadLittleEndian<TNumber>(bytes); }
};

using CLittleEndian16 = CLittleEndian<std::uint16_t>;
using CLittleEndian32 = CLittleEndian<std::uint32_t>;
using CLittleEndian64 = CLittleEndian<std::uint64_t>;

/// A GUID as a field of an on-disk record: three little-endian numbers, then eight bytes as they
/// stand.
struct CGuidOnDisk {
    CLittleEndian32 data1;
    CLittleEndian16 data2;
    CLittleEndian16 data3;
    unsigned char data4[8];

    _GUID Value() const {
        _GUID guid = {};
        guid.Data1 = data1.Value();
        guid.Data2 = data2.Value();
        guid.Data3 = data3.Value();
        for (std::size_t i = 0; i < sizeof(data4); ++i) {
            guid.Data4[i] = data4[i];
        }
        return guid;
    }
};

#endif
