#include "vhdx_disk/log/header_copies.h"

#include <utility>

#include "vhdx_disk/log/checksum.h"
#include "vhdx_disk/source/record.h"

namespace NVHDXDisk {

namespace {

using NVHDX::NFormat::VHDX_HEADER;

CHeaderCopy ReadCopy(const IByteSource& source, std::uint64_t position) {
    CHeaderCopy copy;
    copy.position = position;
    CFailure unreadable;
    copy.isSigned = ReadRecord(source, position, copy.record, unreadable) &&
                    copy.record.Signature.Value() == VHDX_HEADER::ExpectedSignature;
    copy.isValid = copy.isSigned && HasRightChecksum({BytesOf(copy.record), sizeof copy.record});
    return copy;
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
    const auto header = ReadCurrentHeader(*source);
    return {std::move(source), header};
}

std::optional<CCurrentHeader> ReadCurrentHeader(const IByteSource& source) {
    return CurrentHeader(ReadHeaderCopies(source));
}

}  // namespace NVHDXDisk
