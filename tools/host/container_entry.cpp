#include "host/container_entry.h"

#include <array>

#include "host/little_endian.h"

namespace NVHDXHost {

namespace {

constexpr std::uint64_t IdentifierSignature = 0x656C696678646876;  // "vhdxfile"
constexpr std::uint64_t RegionTablePosition = 196608;
constexpr std::uint32_t Signature = 0x69676572;  // "regi"
constexpr std::uint32_t MostEntries = 2047;

std::string WhyNotEntered(CByteStream& stream) {
    if (!HasIdentifier(stream)) {
        return "this is no VHDX disk: the file does not begin with \"vhdxfile\"";
    }
    return "the disk is damaged: its headers, the place of its log, its region table or its "
           "metadata table cannot be read";
}

std::string WhyNotOpened(NVHDX::CAccessor& accessor, CReplayStream& stream) {
    if (!stream.IsOpen()) {
        return stream.OpenError();
    }
    const CReplayResult& replay = stream.Result();
    if (replay.status == CReplayResult::unreadable) {
        return replay.error + AsItStandsHint;
    }
    if (ClaimsTooManyRegions(stream)) {
        return TooManyRegions;
    }
    if (!accessor.Entry(stream)) {
        return WhyNotEntered(stream);
    }
    // Only now: what is no container at all should be called so.
    return replay.status == CReplayResult::noHeader ? replay.error + AsItStandsHint : "";
}

}  // namespace

bool ClaimsTooManyRegions(CByteStream& stream) {
    std::array<unsigned char, 12> start;
    const bool claims = ReadAt(stream, RegionTablePosition, start) &&
                        Load32(start.data()) == Signature && Load32(start.data() + 8) > MostEntries;
    stream.clear();
    stream.seekg(0);
    return claims;
}

bool HasIdentifier(CByteStream& stream) {
    std::array<unsigned char, 8> bytes;
    return ReadAt(stream, 0, bytes) && Load64(bytes.data()) == IdentifierSignature;
}

bool OpenContainer(NVHDX::CAccessor& accessor, CReplayStream& stream, std::string& error) {
    error = WhyNotOpened(accessor, stream);
    return error.empty();
}

bool EnterContainer(NVHDX::CAccessor& accessor, CByteStream& stream) {
    return !ClaimsTooManyRegions(stream) && accessor.Entry(stream);
}

}  // namespace NVHDXHost
