#include "tools/vhdx/image_target.h"

#include <algorithm>

#include <vhdx_disk/path_query.h>

#include "tools/vhdx/command_failure.h"

namespace NTool {

bool CImageTarget::Write(std::uint64_t offset, const unsigned char* bytes, std::size_t count,
                         NVHDXDisk::CFailure&) {
    m_image.Write(offset, {bytes, count});
    m_progress.Advance(count);
    return true;
}

bool CImageTarget::Zero(std::uint64_t offset, std::uint64_t length, NVHDXDisk::CFailure&) {
    MakeZeros(offset, length);
    return true;
}

bool CImageTarget::Flush(NVHDXDisk::CFailure&) {
    return true;  // who made the image closes it
}

/// Holes of the disk file become holes of the image.
bool CImageTarget::CopyFrom(const NVHDXDisk::CDiskFile& file, std::uint64_t position,
                            std::uint64_t offset, std::uint64_t length, bool& taken,
                            NVHDXDisk::CFailure&) {
    const CImageFile& source = Source(file.path);
    const std::uint64_t end = position + length;
    if (end > source.Size()) {
        throw CCommandFailure(source.Name(), "the file became shorter while it was read");
    }
    while (position != end) {
        const CImageFile::CStored stored = source.NextStored(position, end);
        MakeZeros(offset, stored.begin - position);
        offset += stored.begin - position;
        m_image.CopyFrom(source, stored.begin, offset, stored.end - stored.begin);
        offset += stored.end - stored.begin;
        position = stored.end;
    }
    m_progress.Advance(length);
    taken = true;
    return true;
}

void CImageTarget::MakeZeros(std::uint64_t offset, std::uint64_t length) {
    if (offset < m_olderSize) {
        m_image.Zero(offset, std::min(length, m_olderSize - offset));
    }
}

const CImageFile& CImageTarget::Source(const std::filesystem::path& path) {
    std::unique_ptr<CImageFile>& source = m_sources[path];
    if (source == nullptr) {
        source = std::make_unique<CImageFile>(path, NVHDXDisk::TextOf(path), CImageFile::toRead);
    }
    return *source;
}

}  // namespace NTool
