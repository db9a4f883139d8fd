#include "tools/vhdx/image_target.h"

#include <algorithm>

#if defined(__linux__)
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>
#endif

namespace NTool {

namespace {

constexpr std::uint64_t largestPiece = std::uint64_t{1} << 20;

#if defined(__linux__)
/// What lies behind the end of a file would pass for a hole.
bool ReachesTo(std::uint64_t end, int descriptor, const std::filesystem::path& path,
               NVHDXDisk::CFailure& failure) {
    const off_t fileEnd = lseek(descriptor, 0, SEEK_END);
    const int error = errno;
    if (fileEnd >= 0 && end <= static_cast<std::uint64_t>(fileEnd)) {
        return true;
    }
    failure = fileEnd < 0 ? NVHDXDisk::MakeFailure(NVHDXDisk::CFailure::cannotBeRead, path,
                                                   "its size cannot be found out: " +
                                                       std::generic_category().message(error),
                                                   error)
                          : NVHDXDisk::MakeFailure(NVHDXDisk::CFailure::changedMeanwhile, path,
                                                   "the file became shorter while it was read");
    return false;
}
#endif
}  // namespace

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

/// Holes of the disk file become holes of the image. All through the descriptor by which the disk
/// itself is read: what has come into the file's place since is another file.
bool CImageTarget::CopyFrom(const NVHDXDisk::CDiskFile& file, std::uint64_t position,
                            std::uint64_t offset, std::uint64_t length, bool& taken,
                            NVHDXDisk::CFailure& failure) {
#if defined(__linux__)
    const auto handle = file.source->SystemHandle();
    taken = handle != nullptr;
    if (!taken) {
        return true;
    }
    const int descriptor = static_cast<int>(*handle);
    const std::uint64_t end = position + length;
    if (!ReachesTo(end, descriptor, file.path, failure)) {
        return false;
    }
    while (position != end) {
        const CStored stored = m_stored[file.source.get()].Next(descriptor, position, end);
        MakeZeros(offset, stored.begin - position);
        offset += stored.begin - position;
        if (!CopyStored(file, descriptor, stored.begin, offset, stored.end - stored.begin,
                        failure)) {
            return false;
        }
        offset += stored.end - stored.begin;
        position = stored.end;
    }
    m_progress.Advance(length);
    return true;
#else
    return ITarget::CopyFrom(file, position, offset, length, taken, failure);
#endif
}

bool CImageTarget::CopyStored(const NVHDXDisk::CDiskFile& file, int descriptor,
                              std::uint64_t position, std::uint64_t offset, std::uint64_t length,
                              NVHDXDisk::CFailure& failure) {
    std::uint64_t done = m_image.CopyInSystem(descriptor, position, offset, length);
    while (done != length) {
        m_buffer.resize(static_cast<std::size_t>(std::min(largestPiece, length - done)));
        if (!file.source->ReadAt(position + done, m_buffer.data(), m_buffer.size(), failure)) {
            return false;
        }
        m_image.Write(offset + done, m_buffer);
        done += m_buffer.size();
    }
    return true;
}

void CImageTarget::MakeZeros(std::uint64_t offset, std::uint64_t length) {
    if (offset < m_olderSize) {
        m_image.Zero(offset, std::min(length, m_olderSize - offset));
    }
}

}  // namespace NTool
