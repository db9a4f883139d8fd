#include "vhdx_disk/log/checksum.h"

#include "vhdx_parser/container/format.h"

namespace NVHDXDisk {

namespace {

using namespace NVHDX::NFormat;

constexpr std::size_t ChecksumOffset = offsetof(VHDX_HEADER, Checksum);
constexpr std::size_t ChecksumEnd = ChecksumOffset + sizeof(VHDX_HEADER::Checksum);
static_assert(offsetof(VHDX_REGION_TABLE_HEADER, Checksum) == ChecksumOffset);
static_assert(offsetof(VHDX_LOG_ENTRY_HEADER, Checksum) == ChecksumOffset);

}  // namespace

void AddStructureStart(CCrc32c& crc, std::span<const unsigned char> bytes) {
    constexpr unsigned char zeros[ChecksumEnd - ChecksumOffset] = {};
    crc.process_bytes(bytes.data(), ChecksumOffset);
    crc.process_bytes(zeros, sizeof zeros);
    crc.process_bytes(bytes.data() + ChecksumEnd, bytes.size() - ChecksumEnd);
}

bool HasRightChecksum(std::span<const unsigned char> structure) {
    if (structure.size() < ChecksumEnd) {
        return false;
    }
    CCrc32c crc;
    AddStructureStart(crc, structure);
    return crc.checksum() == LoadLittleEndian<std::uint32_t>(structure.data() + ChecksumOffset);
}

}  // namespace NVHDXDisk
