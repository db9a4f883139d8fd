#include "host/header_check.h"

#include <array>
#include <optional>

#include "host/checksum.h"
#include "host/container_entry.h"
#include "host/current_header.h"
#include "host/little_endian.h"

namespace NVHDXHost {

namespace {

constexpr std::uint64_t HeaderPositions[] = {65536, 131072};
constexpr std::uint32_t HeaderSignature = 0x64616568;  // "head"
constexpr std::uint16_t KnownVersion = 1;
constexpr std::size_t ReservedArea = 80;  // from here to the end of the header

using CHeaderBytes = std::array<unsigned char, 4096>;

std::optional<CHeaderBytes> ReadSignedHeader(CByteStream& stream, std::uint64_t position) {
    CHeaderBytes bytes;
    if (!ReadAt(stream, position, bytes) || Load32(bytes.data()) != HeaderSignature) {
        return std::nullopt;
    }
    return bytes;
}

void CheckReservedArea(const CHeaderBytes& bytes, std::uint64_t position,
                       const CFindingSink& findings) {
    const auto set = FirstSetByte(bytes, ReservedArea, bytes.size() - ReservedArea);
    if (set) {
        findings.Add("header-reserved", AtOffset(position + *set),
                     "the reserved area of this copy of the header is not 0 throughout");
    }
}

/// One of the two copies, when it is valid.
std::optional<CHeaderBytes> CheckHeader(CByteStream& stream, std::uint64_t position,
                                        const CFindingSink& findings) {
    const auto bytes = ReadSignedHeader(stream, position);
    if (!bytes) {
        findings.Add("header-signature", AtOffset(position),
                     "this copy of the header does not begin with \"head\" and is of no use");
        return std::nullopt;
    }
    if (!HasRightChecksum(*bytes)) {
        findings.Add("header-checksum", AtOffset(position),
                     "the checksum of this copy of the header is wrong: it was damaged, or not "
                     "written to its end");
        return std::nullopt;
    }
    CheckReservedArea(*bytes, position, findings);
    return bytes;
}

void CheckVersions(const CCurrentHeader& header, const CFindingSink& findings) {
    if (header.version != KnownVersion) {
        findings.Add(
            "header-version", "current header",
            Sentence("the format has version ", header.version, ", and only version 1 is known"));
    }
    if (header.logVersion != 0) {
        findings.Add(
            "log-version", "current header",
            Sentence("the log has version ", header.logVersion, ", and only version 0 is known"));
    }
}

}  // namespace

bool LooksLikeContainer(CByteStream& stream) {
    return HasIdentifier(stream) || ReadSignedHeader(stream, HeaderPositions[0]) ||
           ReadSignedHeader(stream, HeaderPositions[1]);
}

void CheckHeaders(CByteStream& stream, const CFindingSink& findings) {
    if (!HasIdentifier(stream)) {
        findings.Add("identifier-signature", AtOffset(0),
                     "the file does not begin with \"vhdxfile\": programs refuse it");
    }
    const auto first = CheckHeader(stream, HeaderPositions[0], findings);
    const auto second = CheckHeader(stream, HeaderPositions[1], findings);
    if (!first && !second) {
        findings.Add("no-valid-header", "both headers",
                     "neither copy of the header is valid: nobody knows whether a log must be "
                     "replayed");
        return;
    }
    if (first && second && *first != *second &&
        Load64(first->data() + 8) == Load64(second->data() + 8)) {
        findings.Add("headers-ambiguous", "both headers",
                     "both copies have the same sequence number and say different things: nobody "
                     "knows which one counts");
    }
    if (const auto current = ReadCurrentHeader(stream)) {
        CheckVersions(*current, findings);
    }
}

void CheckLog(const CReplayResult& replay, const CFindingSink& findings) {
    if (replay.status == CReplayResult::replayed) {
        findings.Add("log-pending", "log",
                     Sentence("needs replay: ", replay.entries,
                              replay.entries == 1 ? " entry is" : " entries are",
                              " not in place yet; the disk is in use or was not closed, and read "
                              "as it stands it gives old data"));
    } else if (replay.status == CReplayResult::unreadable) {
        findings.Add("log-unreadable", "log",
                     Sentence(replay.error, "; what changed last is lost or half written"));
    }
}

}  // namespace NVHDXHost
