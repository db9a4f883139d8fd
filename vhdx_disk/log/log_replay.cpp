#include "vhdx_disk/log/log_replay.h"

#include <string>
#include <vector>

#include "vhdx_disk/log/log_sequence.h"
#include "vhdx_disk/source/fail.h"
#include "vhdx_parser/blocks/units.h"
#include "vhdx_parser/container/format.h"

namespace NVHDXDisk {

namespace {

using NVHDX::Mebibyte;
using NVHDX::NFormat::HeaderAreaSize;
using NVHDX::NFormat::VHDX_HEADER;

/// Why the log that a header names cannot be one; empty when it can.
std::string WhyNoLogArea(const CCurrentHeader& header, std::uint64_t fileSize) {
    if (header.logVersion != VHDX_HEADER::KnownLogVersion) {
        return "the log has version " + std::to_string(header.logVersion) +
               ", and only version 0 is known";
    }
    if (header.logLength == 0 || header.logLength % Mebibyte != 0 ||
        header.logOffset < HeaderAreaSize || header.logOffset % Mebibyte != 0) {
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

/// Why the entries cannot be replayed; empty when they stand in the overlay.
std::string ReplayEntries(const IByteSource& file, const CLogArea& area,
                          const std::vector<CLogEntry>& entries, CLogOverlay& overlay,
                          CFailure& refusal) {
    for (const CLogEntry& entry : entries) {
        if (std::string reason = WhyNotTaken(entry, file.Size()); !reason.empty()) {
            return reason;
        }
        if (!ReadLogEntry(file, area, entry.position, refusal, &overlay)) {
            return "the log changed while it was read";
        }
        overlay.ExtendFile(entry.lastFileOffset);
    }
    return {};
}

std::string Replay(const IByteSource& file, const CCurrentHeader& header, CLogOverlay& overlay,
                   std::uint64_t& count, CFailure& refusal) {
    if (std::string reason = WhyNoLogArea(header, file.Size()); !reason.empty()) {
        return reason;
    }
    const CLogArea area{header.logOffset, header.logLength, header.logGuid};
    const std::vector<CLogEntry> entries = FindActiveSequence(file, area, refusal);
    if (entries.empty()) {
        return "it holds no valid sequence of entries";
    }
    count = entries.size();
    return ReplayEntries(file, area, entries, overlay, refusal);
}

/// The file as it can be read all the same where a bad sector holds one copy of the header: there
/// are zeros, which no reader takes for a header.
CSourcePointer WithoutLostCopy(const CHeadedFile& file) {
    const CHeaderCopy* const lost = LostCopy(file);
    if (lost == nullptr) {
        return file.source;
    }
    auto zeros = std::make_shared<CLogOverlay>();
    zeros->WriteZeros(lost->position, sizeof lost->record);
    return WithOverlay(file.source, std::move(zeros));
}

}  // namespace

std::shared_ptr<const CLogOverlay> ReplayLog(const CHeadedFile& file, CLogState& state,
                                             CFailure& failure) {
    state = {};
    const auto& header = file.header;
    if (CFailure refused = WhyHeaderRefused(file.copies); refused.kind != CFailure::none) {
        state.status = CLogState::unreadable;
        failure = std::move(refused);
        return nullptr;
    }
    if (!header || IsNull(header->logGuid)) {
        state.status = header ? CLogState::none : CLogState::noHeader;
        return nullptr;
    }
    auto overlay = std::make_shared<CLogOverlay>();
    std::uint64_t entries = 0;
    CFailure refusal;
    const std::string reason = Replay(*file.source, *header, *overlay, entries, refusal);
    if (!reason.empty()) {
        state.status = CLogState::unreadable;
        constexpr auto what = "the log cannot be replayed";
        failure = refusal.kind != CFailure::none
                      ? Because(refusal, what)
                      : MakeFailure(CFailure::logNotReplayed, file.source->Path(),
                                    std::string(what) + ": " + reason);
        return nullptr;
    }
    state = {CLogState::replayed, entries};
    return overlay;
}

bool Replay(const CHeadedFile& file, ELog log, CReplayedFile& replayed, CFailure& failure) {
    replayed = {file.source, nullptr, WithoutLostCopy(file), {}};
    if (log == ELog::asItStands) {
        return true;
    }
    replayed.overlay = ReplayLog(file, replayed.log, failure);
    if (replayed.overlay != nullptr) {
        replayed.bytes = WithOverlay(replayed.bytes, replayed.overlay);
    }
    return replayed.log.status != CLogState::unreadable;
}

}  // namespace NVHDXDisk
