#include "tools/vhdx/image_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <system_error>
#include <utility>
#include <vector>

#if defined(_WIN32)
#include <io.h>
// The second header needs the first.
// clang-format off
#include <windows.h>
#include <winioctl.h>
// clang-format on

#include "tools/vhdx/windows_file.h"
#else
#include <unistd.h>
#endif

#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/durable.h"

namespace NTool {

namespace {

constexpr std::uint64_t largestPiece = std::uint64_t{1} << 20;

#if defined(_WIN32)

/// Without sparse files, on FAT for instance, the holes take space.
void MakeSparse(int file) {
    DWORD unused = 0;
    DeviceIoControl(reinterpret_cast<HANDLE>(_get_osfhandle(file)), FSCTL_SET_SPARSE, nullptr, 0,
                    nullptr, 0, &unused, nullptr);
}

int Open(const std::filesystem::path& path, bool writing) {
    const int file = OpenRemovable(path, writing ? EOpening::toReadAndWrite : EOpening::toRead);
    if (file >= 0 && writing) {
        MakeSparse(file);
    }
    return file;
}

std::int64_t ReadSome(int file, std::uint64_t offset, std::span<unsigned char> bytes) {
    return _lseeki64(file, static_cast<__int64>(offset), SEEK_SET) < 0
               ? -1
               : _read(file, bytes.data(), static_cast<unsigned>(bytes.size()));
}

std::int64_t WriteSome(int file, std::uint64_t offset, std::span<const unsigned char> bytes) {
    return _lseeki64(file, static_cast<__int64>(offset), SEEK_SET) < 0
               ? -1
               : _write(file, bytes.data(), static_cast<unsigned>(bytes.size()));
}

std::int64_t SizeOf(int file) {
    return _filelengthi64(file);
}

int SetSize(int file, std::uint64_t size) {
    // The runtime's own function writes the zeros.
    return SetFileSize(file, size);
}

/// Makes zeros also where the file is not sparse.
bool MakeHole(int file, std::uint64_t offset, std::uint64_t length) {
    FILE_ZERO_DATA_INFORMATION range = {};
    range.FileOffset.QuadPart = static_cast<LONGLONG>(offset);
    range.BeyondFinalZero.QuadPart = static_cast<LONGLONG>(offset + length);
    DWORD unused = 0;
    return DeviceIoControl(reinterpret_cast<HANDLE>(_get_osfhandle(file)), FSCTL_SET_ZERO_DATA,
                           &range, sizeof(range), nullptr, 0, &unused, nullptr) != 0;
}

int CloseFile(int file) {
    return _close(file);
}

#else

void MakeSparse(int) {}

int Open(const std::filesystem::path& path, bool writing) {
    return open(path.c_str(), (writing ? O_RDWR : O_RDONLY) | O_CLOEXEC);
}

std::int64_t ReadSome(int file, std::uint64_t offset, std::span<unsigned char> bytes) {
    return pread(file, bytes.data(), bytes.size(), static_cast<off_t>(offset));
}

std::int64_t WriteSome(int file, std::uint64_t offset, std::span<const unsigned char> bytes) {
    return pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(offset));
}

std::int64_t SizeOf(int file) {
    return lseek(file, 0, SEEK_END);
}

int SetSize(int file, std::uint64_t size) {
    return ftruncate(file, static_cast<off_t>(size)) == 0 ? 0 : errno;
}

bool MakeHole(int file, std::uint64_t offset, std::uint64_t length) {
#if defined(FALLOC_FL_PUNCH_HOLE)
    return fallocate(file, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, static_cast<off_t>(offset),
                     static_cast<off_t>(length)) == 0;
#else
    (void)file, (void)offset, (void)length;
    return false;
#endif
}

int CloseFile(int file) {
    return close(file);
}

#endif

}  // namespace

CImageFile::CImageFile(const std::filesystem::path& path, std::string name, EAccess access)
    : m_name(std::move(name)), m_file(Open(path, access == toReadAndWrite)) {
    if (m_file < 0) {
        Fail("cannot be opened", errno);
    }
}

CImageFile::CImageFile(int file, std::string name)
    : m_name(std::move(name)), m_file(file), m_isOwner(false) {
    MakeSparse(m_file);
}

CImageFile::~CImageFile() {
    if (m_isOwner && m_file >= 0) {
        CloseFile(m_file);
    }
}

std::uint64_t CImageFile::Size() const {
    const std::int64_t size = SizeOf(m_file);
    if (size < 0) {
        Fail("its size cannot be found out", errno);
    }
    return static_cast<std::uint64_t>(size);
}

void CImageFile::Resize(std::uint64_t size) {
    m_stored.Forget();
    if (const int error = SetSize(m_file, size); error != 0) {
        Fail("cannot be written", error);
    }
}

void CImageFile::Read(std::uint64_t offset, std::span<unsigned char> bytes) const {
    while (!bytes.empty()) {
        errno = 0;
        const std::int64_t count = ReadSome(
            m_file, offset, bytes.first(std::min<std::size_t>(bytes.size(), largestPiece)));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count == 0) {
            Fail("became shorter while it was read", 0);
        }
        if (count < 0) {
            Fail("cannot be read", errno);
        }
        offset += static_cast<std::uint64_t>(count);
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

void CImageFile::Write(std::uint64_t offset, std::span<const unsigned char> bytes) {
    m_stored.Forget();
    while (!bytes.empty()) {
        errno = 0;
        const std::int64_t count = WriteSome(
            m_file, offset, bytes.first(std::min<std::size_t>(bytes.size(), largestPiece)));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            Fail("cannot be written", errno);
        }
        offset += static_cast<std::uint64_t>(count);
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

void CImageFile::Zero(std::uint64_t offset, std::uint64_t length) {
    static const std::array<unsigned char, 65536> zeros = {};
    m_stored.Forget();
    if (length == 0 || MakeHole(m_file, offset, length)) {
        return;
    }
    for (const std::uint64_t end = offset + length; offset < end;) {
        const std::uint64_t piece = std::min<std::uint64_t>(zeros.size(), end - offset);
        Write(offset, std::span(zeros).first(static_cast<std::size_t>(piece)));
        offset += piece;
    }
}

#if defined(__linux__)

std::uint64_t CImageFile::CopyInSystem(int file, std::uint64_t position, std::uint64_t offset,
                                       std::uint64_t length) {
    m_stored.Forget();
    std::uint64_t done = 0;
    while (m_copiesInSystem && done != length) {
        auto from = static_cast<off_t>(position + done);
        auto to = static_cast<off_t>(offset + done);
        const ssize_t count =
            copy_file_range(file, &from, m_file, &to, static_cast<std::size_t>(length - done), 0);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            m_copiesInSystem = count == 0;
            break;
        }
        done += static_cast<std::uint64_t>(count);
    }
    return done;
}

#else

std::uint64_t CImageFile::CopyInSystem(int, std::uint64_t, std::uint64_t, std::uint64_t) {
    return 0;
}

#endif

CStored CImageFile::NextStored(std::uint64_t begin, std::uint64_t end) const {
    return m_stored.Next(m_file, begin, end);
}

void CImageFile::MakeDurable() {
    if (const int error = NTool::MakeDurable(m_file); error != 0) {
        Fail("cannot be written", error);
    }
}

void CImageFile::Settle() {
    MakeDurable();
#if defined(POSIX_FADV_DONTNEED)
    // What stays in memory would be compared with itself. A system that keeps it does no harm.
    (void)posix_fadvise(m_file, 0, 0, POSIX_FADV_DONTNEED);
#endif
}

void CImageFile::Close() {
    if (m_isOwner && CloseFile(std::exchange(m_file, -1)) != 0) {
        Fail("cannot be written", errno);
    }
}

void CImageFile::Fail(const char* what, int error) const {
    std::string reason = what;
    if (error != 0) {
        reason.append(": ").append(std::generic_category().message(error));
    }
    throw CCommandFailure(m_name, reason);
}

}  // namespace NTool
