#include "vhdx_disk/table/container.h"

#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/source/record.h"
#include "vhdx_parser/container/format.h"

namespace NVHDXDisk {

namespace {

using NVHDX::NFormat::VHDX_FILE_IDENTIFIER;
using NVHDX::NFormat::VHDX_REGION_TABLE_HEADER;

bool ClaimsTooManyRegions(const IByteSource& source) {
    VHDX_REGION_TABLE_HEADER table;
    CFailure unreadable;
    return ReadRecord(source, VHDX_REGION_TABLE_HEADER::FirstPosition, table, unreadable) &&
           table.Signature.Value() == VHDX_REGION_TABLE_HEADER::ExpectedSignature &&
           table.EntryCount.Value() > VHDX_REGION_TABLE_HEADER::MostEntries;
}

bool FailToEnter(const IByteSource& source, const CFailure& refusal, CFailure& failure) {
    CFailure cause = refusal;
    if (!HasIdentifier(source, cause)) {
        return FailBecause(cause, failure, CFailure::notADisk, source.Path(),
                           "this is no VHDX disk: the file does not begin with \"vhdxfile\"");
    }
    return FailBecause(
        cause, failure, CFailure::damaged, source.Path(),
        "the disk is damaged: its headers, the place of its log, its region table or its "
        "metadata table cannot be read");
}

/// The opening of a disk file, for everybody who reads one.
bool EnterOrTell(NVHDX::CAccessor& accessor, std::basic_istream<unsigned char>& stream,
                 const IByteSource& source, const CLogState& log, CFailure& failure) {
    if (ClaimsTooManyRegions(source)) {
        return Fail(failure, CFailure::damaged, source.Path(), TooManyRegions);
    }
    stream.seekg(0);
    if (!accessor.Entry(stream)) {
        return FailToEnter(source, CSourceBuffer::RefusalOf(stream), failure);
    }
    // Only now: what is no container at all should be called so.
    return log.status != CLogState::noHeader ||
           Fail(failure, CFailure::logNotReplayed, source.Path(), NoValidHeader);
}

}  // namespace

bool HasIdentifier(const IByteSource& source, CFailure& cause) {
    CLittleEndian64 signature;
    return ReadRecord(source, 0, signature, cause) &&
           signature.Value() == VHDX_FILE_IDENTIFIER::ExpectedSignature;
}

bool Enter(NVHDX::CAccessor& accessor, std::basic_istream<unsigned char>& stream,
           const IByteSource& source) {
    stream.clear();
    stream.seekg(0);
    return !ClaimsTooManyRegions(source) && accessor.Entry(stream);
}

bool CContainer::Open(const CHeadedFile& file, ELog log, CFailure& failure) {
    if (!Replay(file, log, m_file, failure)) {
        return false;
    }
    m_stream.rdbuf(&m_buffer.emplace(m_file.bytes));
    return EnterOrTell(m_accessor, m_stream, Bytes(), m_file.log, failure);
}

bool CContainer::WasRefused(CFailure& failure) const {
    const CFailure refusal = CSourceBuffer::RefusalOf(m_stream);
    if (refusal.kind == CFailure::none) {
        return false;
    }
    failure = refusal;
    return true;
}

bool CContainer::Fail(CFailure& failure, const std::string& reason) const {
    return FailBecause(CSourceBuffer::RefusalOf(m_stream), failure, CFailure::damaged,
                       Bytes().Path(), reason);
}

bool OpenContainer(NVHDX::CAccessor& accessor, CReplayedStream& stream, CFailure& failure) {
    if (!stream.IsOpen()) {
        return Fail(failure, CFailure::cannotBeOpened, {}, "the file is not open");
    }
    if (stream.Log().status == CLogState::unreadable) {
        return Fail(failure, CFailure::logNotReplayed, stream.File()->Path(),
                    "the log cannot be replayed");
    }
    return EnterOrTell(accessor, stream, *stream.Replayed(), stream.Log(), failure);
}

}  // namespace NVHDXDisk
