#include <vhdx_disk/replayed_stream.h>

#include <optional>

#include "vhdx_disk/log/log_replay.h"
#include "vhdx_disk/source/source_buffer.h"

namespace NVHDXDisk {

struct CReplayedStream::CParts {
    CReplayedFile file;
    std::optional<CCurrentHeader> header;
    CFailure lostHeader;
    std::optional<CSourceBuffer> buffer;
};

CReplayedStream::CReplayedStream(const std::filesystem::path& path, ELog log, CFailure& reason)
    : CReplayedStream(OpenFile(path, reason), log, reason) {}

CReplayedStream::CReplayedStream(const CSourcePointer& file, ELog log, CFailure& reason)
    : std::basic_istream<unsigned char>(nullptr), m_parts(std::make_shared<CParts>()) {
    if (file != nullptr) {
        Open(file, log, reason);
    }
}

void CReplayedStream::Open(const CSourcePointer& file, ELog log, CFailure& reason) {
    const CHeadedFile headed = WithHeader(file);
    m_parts->header = headed.header;
    if (const CHeaderCopy* const lost = LostCopy(headed)) {
        m_parts->lostHeader = lost->refusal;
    }
    const bool isReplayed = Replay(headed, log, m_parts->file, reason);
    rdbuf(&m_parts->buffer.emplace(m_parts->file.bytes));
    if (!isReplayed) {
        setstate(std::ios_base::failbit);
    }
}

bool CReplayedStream::IsOpen() const {
    return m_parts->file.file != nullptr;
}

const CLogState& CReplayedStream::Log() const {
    return m_parts->file.log;
}

CFailure CReplayedStream::Refusal() const {
    return CSourceBuffer::RefusalOf(*this);
}

bool CReplayedStream::CheckUnchanged(CFailure& reason) const {
    return IsOpen() &&
           NVHDXDisk::CheckUnchanged(*File(), m_parts->header, m_parts->lostHeader, reason);
}

const std::optional<CCurrentHeader>& CReplayedStream::Header() const {
    return m_parts->header;
}

const CFailure& CReplayedStream::LostHeader() const {
    return m_parts->lostHeader;
}
const CSourcePointer& CReplayedStream::File() const {
    return m_parts->file.file;
}

const CSourcePointer& CReplayedStream::Replayed() const {
    return m_parts->file.bytes;
}

}  // namespace NVHDXDisk
