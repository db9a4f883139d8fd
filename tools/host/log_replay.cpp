#include "host/log_replay.h"

#include <vector>

#include "host/current_header.h"
#include "host/log_sequence.h"

namespace NVHDXHost {

namespace {

constexpr std::uint64_t Mebibyte = 1048576;

/// Why the log that a header names cannot be one; empty when it can.
std::string WhyNoLogArea(const CCurrentHeader& header, std::uint64_t fileSize) {
    if (header.logVersion != 0) {
        return "the log has version " + std::to_string(header.logVersion) +
               ", and only version 0 is known";
    }
    if (header.logLength == 0 || header.logLength % Mebibyte != 0 || header.logOffset < Mebibyte ||
        header.logOffset % Mebibyte != 0) {
        return "the header gives the log an impossible place: offset " +
               std::to_string(header.logOffset) + ", length " + std::to_string(header.logLength);
    }
    if (header.logOffset > fileSize || header.logLength > fileSize - header.logOffset) {
        return "the log reaches past the end of the file";
    }
    return {};
}

/// Why the file cannot take an entry's writes; empty when it can.
std::string WhyNotTaken(const CLogEntry& entry, std::uint64_t fileSize) {
    if (entry.flushedFileOffset > fileSize) {
        return "the file was cut off: it has " + std::to_string(fileSize) +
               " bytes, and had at least " + std::to_string(entry.flushedFileOffset) +
               " when the log was written";
    }
    if (entry.lastFileOffset > LargestPosition) {
        return "the log asks for a file of " + std::to_string(entry.lastFileOffset) + " bytes";
    }
    return {};
}

std::shared_ptr<const CLogOverlay> Refuse(CReplayResult& result, const std::string& reason) {
    result.status = CReplayResult::unreadable;
    result.error = "the log cannot be replayed: " + reason;
    return nullptr;
}

std::shared_ptr<const CLogOverlay> ReplayEntries(CByteStream& stream, const CLogArea& area,
                                                 const std::vector<CLogEntry>& entries,
                                                 std::uint64_t fileSize, CReplayResult& result) {
    const auto overlay = std::make_shared<CLogOverlay>();
    for (const CLogEntry& entry : entries) {
        if (const std::string reason = WhyNotTaken(entry, fileSize); !reason.empty()) {
            return Refuse(result, reason);
        }
        if (!ReadLogEntry(stream, area, entry.position, overlay.get())) {
            return Refuse(result, "the log changed while it was read");
        }
        overlay->ExtendFile(entry.lastFileOffset);
    }
    result.status = CReplayResult::replayed;
    result.entries = entries.size();
    return overlay;
}

}  // namespace

std::shared_ptr<const CLogOverlay> ReplayLog(CByteStream& stream, CReplayResult& result) {
    result = {};
    const auto header = ReadCurrentHeader(stream);
    if (!header) {
        result.status = CReplayResult::noHeader;
        result.error = "neither header of the file is valid";
        return nullptr;
    }
    if (IsNull(header->logGuid)) {
        result.status = CReplayResult::noLog;
        return nullptr;
    }
    const std::uint64_t fileSize = SizeOf(stream);
    if (const std::string reason = WhyNoLogArea(*header, fileSize); !reason.empty()) {
        return Refuse(result, reason);
    }
    const CLogArea area{header->logOffset, header->logLength, header->logGuid};
    const std::vector<CLogEntry> entries = FindActiveSequence(stream, area);
    if (entries.empty()) {
        return Refuse(result, "it holds no valid sequence of entries");
    }
    return ReplayEntries(stream, area, entries, fileSize, result);
}

}  // namespace NVHDXHost
