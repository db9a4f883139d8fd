#include "vhdx_disk/log/header_copies.h"

#include <algorithm>
#include <tuple>
#include <utility>
#include "vhdx_disk/log/checksum.h"
#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/source/record.h"

namespace NVHDXDisk {

namespace {

using NVHDX::NFormat::VHDX_HEADER;

CHeaderCopy ReadCopy(const IByteSource& source, std::uint64_t position) {
    CHeaderCopy copy;
    copy.position = position;
    CFailure cause;
    copy.isSigned = ReadRecord(source, position, copy.record, cause) &&
                    copy.record.Signature.Value() == VHDX_HEADER::ExpectedSignature;
    if (IsRefused(cause)) {
        copy.refusal = Because(cause, "a header cannot be read");
    }
    copy.isValid = copy.isSigned && HasRightChecksum({BytesOf(copy.record), sizeof copy.record});
    return copy;
}

/// By the system's own word, not because the file is another one or cannot be opened again.
bool IsLost(const CHeaderCopy& copy) {
    return copy.refusal.kind == CFailure::cannotBeRead;
}

CCurrentHeader ValuesOf(const VHDX_HEADER& record) {
    CCurrentHeader header;
    header.sequenceNumber = record.SequenceNumber.Value();
    header.fileWriteGuid = record.FileWriteGuid.Value();
    header.dataWriteGuid = record.DataWriteGuid.Value();
    header.logGuid = record.LogGuid.Value();
    header.logVersion = record.LogVersion.Value();
    header.version = record.Version.Value();
    header.logLength = record.LogLength.Value();
    header.logOffset = record.LogOffset.Value();
    return header;
}

}  // namespace

bool operator==(const CCurrentHeader& one, const CCurrentHeader& other) {
    const auto numbers = [](const CCurrentHeader& header) {
        return std::tie(header.sequenceNumber, header.logVersion, header.version, header.logLength,
                        header.logOffset);
    };
    return numbers(one) == numbers(other) && IsEqual(one.fileWriteGuid, other.fileWriteGuid) &&
           IsEqual(one.dataWriteGuid, other.dataWriteGuid) && IsEqual(one.logGuid, other.logGuid);
}

std::array<CHeaderCopy, 2> ReadHeaderCopies(const IByteSource& source) {
    return {ReadCopy(source, VHDX_HEADER::FirstPosition),
            ReadCopy(source, VHDX_HEADER::SecondPosition)};
}

std::optional<CCurrentHeader> CurrentHeader(const std::array<CHeaderCopy, 2>& copies) {
    std::optional<CCurrentHeader> current;
    for (const CHeaderCopy& copy : copies) {
        if (copy.isValid &&
            (!current || copy.record.SequenceNumber.Value() > current->sequenceNumber)) {
            current = ValuesOf(copy.record);
        }
    }
    return current;
}

CHeadedFile WithHeader(CSourcePointer source) {
    const auto copies = ReadHeaderCopies(*source);
    return {std::move(source), copies, CurrentHeader(copies)};
}

const CHeaderCopy* LostCopy(const CHeadedFile& file) {
    if (!file.header || WhyHeaderRefused(file.copies).kind != CFailure::none) {
        return nullptr;
    }
    const auto lost = std::find_if(file.copies.begin(), file.copies.end(), IsLost);
    return lost == file.copies.end() ? nullptr : &*lost;
}

/// A copy that cannot be read may have been the newer one; what a bad sector held nobody will know,
/// and the older one is valid.
CFailure WhyHeaderRefused(const std::array<CHeaderCopy, 2>& copies) {
    const bool isKnown = CurrentHeader(copies).has_value();
    for (const CHeaderCopy& copy : copies) {
        if (copy.refusal.kind != CFailure::none && !(isKnown && IsLost(copy))) {
            return copy.refusal;
        }
    }
    return {};
}

bool CheckUnchanged(const IByteSource& source, const std::optional<CCurrentHeader>& header,
                    const CFailure& lost, CFailure& failure) {
    if (!source.CheckUnchanged(failure)) {
        return false;
    }
    const auto copies = ReadHeaderCopies(source);
    if (CurrentHeader(copies) == header) {
        return true;
    }
    CFailure refusal = lost;
    for (const CHeaderCopy& copy : copies) {
        refusal = IsRefused(copy.refusal) ? copy.refusal : refusal;
    }
    return FailBecause(refusal, failure, CFailure::changedMeanwhile, source.Path(),
                       "the file's header changed while it was read: the disk is in use");
}

std::optional<CCurrentHeader> ReadCurrentHeader(const IByteSource& source, CFailure& failure) {
    const auto copies = ReadHeaderCopies(source);
    const auto header = CurrentHeader(copies);
    const CFailure refusal = WhyHeaderRefused(copies);
    if (header && refusal.kind == CFailure::none) {
        return header;
    }
    FailBecause(refusal, failure, CFailure::damaged, source.Path(), NoValidHeader);
    return std::nullopt;
}

}  // namespace NVHDXDisk
