#include "host/current_header.h"

#include <array>

#include "host/checksum.h"
#include "host/little_endian.h"

namespace NVHDXHost {

namespace {

constexpr std::uint64_t HeaderPositions[] = {65536, 131072};
constexpr std::size_t HeaderSize = 4096;
constexpr std::uint32_t HeaderSignature = 0x64616568;  // "head"

std::optional<CCurrentHeader> ReadHeader(CByteStream& stream, std::uint64_t position) {
    std::array<unsigned char, HeaderSize> bytes;
    if (!ReadAt(stream, position, bytes) || Load32(bytes.data()) != HeaderSignature ||
        !HasRightChecksum(bytes)) {
        return std::nullopt;
    }
    CCurrentHeader header;
    header.sequenceNumber = Load64(bytes.data() + 8);
    header.fileWriteGuid = LoadGuid(bytes.data() + 16);
    header.dataWriteGuid = LoadGuid(bytes.data() + 32);
    header.logGuid = LoadGuid(bytes.data() + 48);
    header.logVersion = Load16(bytes.data() + 64);
    header.version = Load16(bytes.data() + 66);
    header.logLength = Load32(bytes.data() + 68);
    header.logOffset = Load64(bytes.data() + 72);
    return header;
}

}  // namespace

std::optional<CCurrentHeader> ReadCurrentHeader(CByteStream& stream) {
    std::optional<CCurrentHeader> current;
    for (const std::uint64_t position : HeaderPositions) {
        const auto header = ReadHeader(stream, position);
        if (header && (!current || header->sequenceNumber > current->sequenceNumber)) {
            current = header;
        }
    }
    return current;
}

}  // namespace NVHDXHost
