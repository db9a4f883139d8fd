#include "tools/vhdx/raw_target.h"

#include <algorithm>

#include "host/locator_path.h"
#include "tools/vhdx/failure.h"

namespace NTool {

namespace {

/// Small enough that progress is seen and that an interruption does not have to wait.
constexpr std::uint64_t pieceSize = std::uint64_t{16} << 20;

}  // namespace

CRawTarget::CRawTarget(const NVHDXHost::CMergedDisk& disk, CRawFile& raw, std::uint64_t olderSize,
                       CProgress& progress)
    : m_disk(disk),
      m_raw(raw),
      m_olderSize(olderSize),
      m_progress(progress),
      m_sources(disk.Layers().size()) {}

void CRawTarget::CopyFrom(std::size_t layer, std::uint64_t position, std::uint64_t offset,
                          std::uint64_t length) {
    const CRawFile& source = Source(layer);
    const std::uint64_t end = offset + length;
    while (offset != end) {
        const std::uint64_t piece = std::min(pieceSize, end - offset);
        CopyStored(source, position, offset, piece);
        m_progress.Advance(piece);
        position += piece;
        offset += piece;
    }
}

/// Holes of the disk file become holes of the image.
void CRawTarget::CopyStored(const CRawFile& source, std::uint64_t position, std::uint64_t offset,
                            std::uint64_t length) {
    const std::uint64_t end = position + length;
    if (end > source.Size()) {
        throw CFailure(source.Name(), "the file became shorter while it was read");
    }
    while (position != end) {
        const CRawFile::CStored stored = source.NextStored(position, end);
        Zero(offset, stored.begin - position);
        offset += stored.begin - position;
        m_raw.CopyFrom(source, stored.begin, offset, stored.end - stored.begin);
        offset += stored.end - stored.begin;
        position = stored.end;
    }
}

void CRawTarget::Write(std::uint64_t offset, std::span<const unsigned char> bytes) {
    m_raw.Write(offset, bytes);
    m_progress.Advance(bytes.size());
}

void CRawTarget::Zero(std::uint64_t offset, std::uint64_t length) {
    if (offset < m_olderSize) {
        m_raw.Zero(offset, std::min(length, m_olderSize - offset));
    }
}

const CRawFile& CRawTarget::Source(std::size_t layer) {
    std::unique_ptr<CRawFile>& source = m_sources[layer];
    if (source == nullptr) {
        const std::filesystem::path& path = m_disk.Layers()[layer].path;
        source = std::make_unique<CRawFile>(path, NVHDXHost::TextFromPath(path), CRawFile::toRead);
    }
    return *source;
}

}  // namespace NTool
