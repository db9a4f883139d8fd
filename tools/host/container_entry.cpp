#include "host/container_entry.h"

#include <array>

#include "host/little_endian.h"

namespace NVHDXHost {

namespace {

constexpr std::uint64_t RegionTablePosition = 196608;
constexpr std::uint32_t Signature = 0x69676572;  // "regi"
constexpr std::uint32_t MostEntries = 2047;

}  // namespace

bool ClaimsTooManyRegions(CByteStream& stream) {
    std::array<unsigned char, 12> start;
    const bool claims = ReadAt(stream, RegionTablePosition, start) &&
                        Load32(start.data()) == Signature && Load32(start.data() + 8) > MostEntries;
    stream.clear();
    stream.seekg(0);
    return claims;
}

bool EnterContainer(NVHDX::CAccessor& accessor, CByteStream& stream) {
    return !ClaimsTooManyRegions(stream) && accessor.Entry(stream);
}

}  // namespace NVHDXHost
