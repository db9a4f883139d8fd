#include "vhdx_disk/check/header_check.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/table/container.h"

namespace NVHDXDisk {

namespace {

using NVHDX::NFormat::VHDX_HEADER;

void CheckReservedArea(const CHeaderCopy& copy, const CFindingSink& findings) {
    if (const auto set = FirstSetByte(copy.record.Reserved)) {
        findings.Add(EFinding::headerReserved,
                     AtOffset(copy.position + offsetof(VHDX_HEADER, Reserved) + *set),
                     "the reserved area of this copy of the header is not 0 throughout");
    }
}

void CheckHeader(const CHeaderCopy& copy, const CFindingSink& findings) {
    if (IsRefused(copy.refusal)) {
        return;
    }
    if (!copy.isSigned) {
        findings.Add(EFinding::headerSignature, AtOffset(copy.position),
                     "this copy of the header does not begin with \"head\" and is of no use");
    } else if (!copy.isValid) {
        findings.Add(EFinding::headerChecksum, AtOffset(copy.position),
                     "the checksum of this copy of the header is wrong: it was damaged, or not "
                     "written to its end");
    } else {
        CheckReservedArea(copy, findings);
    }
}

bool AreAmbiguous(const CHeaderCopy& first, const CHeaderCopy& second) {
    return first.isValid && second.isValid &&
           first.record.SequenceNumber.Value() == second.record.SequenceNumber.Value() &&
           std::memcmp(&first.record, &second.record, sizeof first.record) != 0;
}

void CheckVersions(const CCurrentHeader& header, const CFindingSink& findings) {
    if (header.version != VHDX_HEADER::KnownVersion) {
        findings.Add(
            EFinding::headerVersion, "current header",
            Sentence("the format has version ", header.version, ", and only version 1 is known"));
    }
    if (header.logVersion != VHDX_HEADER::KnownLogVersion) {
        findings.Add(
            EFinding::logVersion, "current header",
            Sentence("the log has version ", header.logVersion, ", and only version 0 is known"));
    }
}

}  // namespace

bool LooksLikeContainer(const CHeadedFile& file, CFailure& failure) {
    CFailure cause;
    if (HasIdentifier(*file.source, cause) ||
        std::any_of(file.copies.begin(), file.copies.end(),
                    [](const CHeaderCopy& copy) { return copy.isSigned; })) {
        return true;
    }
    for (const CHeaderCopy& copy : file.copies) {
        cause = IsRefused(cause) ? cause : copy.refusal;
    }
    return FailBecause(cause, failure, CFailure::notADisk, file.source->Path(),
                       "the file is no VHDX container");
}

void CheckHeaders(const IByteSource& source, const CFindingSink& findings) {
    CFailure cause;
    if (!HasIdentifier(source, cause) && !IsRefused(cause)) {
        findings.Add(EFinding::identifierSignature, AtOffset(0),
                     "the file does not begin with \"vhdxfile\": programs refuse it");
    }
    const auto copies = ReadHeaderCopies(source);
    for (const CHeaderCopy& copy : copies) {
        CheckHeader(copy, findings);
    }
    const auto current = CurrentHeader(copies);
    if (!current && WhyHeaderRefused(copies).kind != CFailure::none) {
        return;
    }
    if (!current) {
        findings.Add(EFinding::noValidHeader, "both headers",
                     "neither copy of the header is valid: nobody knows whether a log must be "
                     "replayed");
        return;
    }
    if (AreAmbiguous(copies[0], copies[1])) {
        findings.Add(EFinding::headersAmbiguous, "both headers",
                     "both copies have the same sequence number and say different things: nobody "
                     "knows which one counts");
    }
    CheckVersions(*current, findings);
}

void CheckLog(const CLogState& log, const CFailure& failure, const CFindingSink& findings) {
    if (log.status == CLogState::replayed) {
        findings.Add(
            EFinding::logPending, "log",
            Sentence("needs replay: ", log.entries, log.entries == 1 ? " entry is" : " entries are",
                     " not in place yet; the disk is in use or was not closed, and read "
                     "as it stands it gives old data"));
    } else if (failure.kind == CFailure::logNotReplayed) {
        findings.Add(EFinding::logUnreadable, "log",
                     Sentence(failure.reason, "; what changed last is lost or half written"));
    }
}

}  // namespace NVHDXDisk
