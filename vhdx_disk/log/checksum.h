#ifndef VHDX_DISK_LOG_CHECKSUM_H
#define VHDX_DISK_LOG_CHECKSUM_H

/// CRC-32C, the checksum of the format's structures.

#include <cstddef>
#include <cstdint>
#include <span>

#include <boost/crc.hpp>

namespace NVHDXDisk {

/// Castagnoli's polynomial, bits reflected, as the format wants it.
using CCrc32c = boost::crc_optimal<32, 0x1EDC6F41, 0xFFFFFFFF, 0xFFFFFFFF, true, true>;

/// Adds the start of a structure (a header, a region table or a log entry), its checksum field
/// taken as zero. It has at least 8 bytes.
void AddStructureStart(CCrc32c& crc, std::span<const unsigned char> bytes);

/// True when the structure's checksum field says what its bytes give. Too few bytes: false.
[[nodiscard]] bool HasRightChecksum(std::span<const unsigned char> structure);

}  // namespace NVHDXDisk

#endif
