#include "host/checksum.h"

#include "host/little_endian.h"

namespace NVHDXHost {

namespace {

constexpr std::size_t ChecksumEnd = ChecksumPosition + 4;

}  // namespace

void AddStructureStart(CCrc32c& crc, std::span<const unsigned char> bytes) {
    constexpr unsigned char zeros[4] = {};
    crc.process_bytes(bytes.data(), ChecksumPosition);
    crc.process_bytes(zeros, sizeof zeros);
    crc.process_bytes(bytes.data() + ChecksumEnd, bytes.size() - ChecksumEnd);
}

bool HasRightChecksum(std::span<const unsigned char> structure) {
    if (structure.size() < ChecksumEnd) {
        return false;
    }
    CCrc32c crc;
    AddStructureStart(crc, structure);
    return crc.checksum() == Load32(structure.data() + ChecksumPosition);
}

}  // namespace NVHDXHost
