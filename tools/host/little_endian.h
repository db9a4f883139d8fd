#ifndef VHDX_HOST_LITTLE_ENDIAN_H
#define VHDX_HOST_LITTLE_ENDIAN_H

/// Numbers and identifiers as a disk file stores them.

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <vhdx_parser/guid.h>

namespace NVHDXHost {

/// On a little-endian machine this is one load.
template <class TNumber>
TNumber LoadNumber(const unsigned char* bytes) {
    TNumber number = 0;
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(&number, bytes, sizeof(number));
    } else {
        for (std::size_t i = 0; i < sizeof(TNumber); ++i) {
            number |= static_cast<TNumber>(static_cast<TNumber>(bytes[i]) << (8 * i));
        }
    }
    return number;
}

inline std::uint16_t Load16(const unsigned char* bytes) {
    return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}
inline std::uint32_t Load32(const unsigned char* bytes) {
    return LoadNumber<std::uint32_t>(bytes);
}
inline std::uint64_t Load64(const unsigned char* bytes) {
    return LoadNumber<std::uint64_t>(bytes);
}

inline _GUID LoadGuid(const unsigned char* bytes) {
    _GUID guid = {};
    guid.Data1 = Load32(bytes);
    guid.Data2 = Load16(bytes + 4);
    guid.Data3 = Load16(bytes + 6);
    std::copy_n(bytes + 8, 8, guid.Data4);
    return guid;
}

}  // namespace NVHDXHost

#endif
