#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "vhdx_disk/source/free_descriptors.h"
#include "vhdx_disk/source/system_file.h"

namespace NVHDXDisk {

namespace {

std::uint64_t Nanoseconds(const timespec& time) {
    return static_cast<std::uint64_t>(time.tv_sec) * 1000000000 +
           static_cast<std::uint64_t>(time.tv_nsec);
}

std::uint64_t ModifiedOf(const struct stat& status) {
#if defined(__APPLE__)
    return Nanoseconds(status.st_mtimespec);
#else
    return Nanoseconds(status.st_mtim);
#endif
}

#if defined(CLOCK_REALTIME_COARSE)
constexpr int MostWaits = 20;

/// The time that a write would note at this moment.
std::uint64_t NowOnFilesClock() {
    timespec now = {};
    (void)clock_gettime(CLOCK_REALTIME_COARSE, &now);
    return Nanoseconds(now);
}
#endif
/// Zeros where the system or the file system does not know it.
std::array<std::uint64_t, 2> MadeAt([[maybe_unused]] int file) {
#if defined(STATX_BTIME)
    struct statx status = {};
    if (statx(file, "", AT_EMPTY_PATH, STATX_BTIME, &status) == 0 &&
        (status.stx_mask & STATX_BTIME) != 0) {
        return {static_cast<std::uint64_t>(status.stx_btime.tv_sec), status.stx_btime.tv_nsec};
    }
#endif
    return {};
}

}  // namespace
std::shared_ptr<const CSystemFile> CSystemFile::Open(const std::filesystem::path& path,
                                                     int& error) {
    int file = -1;
    do {
        // A pipe that takes the file's place before it is opened must keep nobody waiting.
        file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    } while (file < 0 && errno == EINTR);
    if (file < 0) {
        error = errno;
        return nullptr;
    }
    return std::make_shared<const CSystemFile>(file);
}

CSystemFile::~CSystemFile() {
    (void)close(static_cast<int>(m_handle));
}

/// A device tells its size only so.
bool CSystemFile::State(CState& state, int& error) const {
    struct stat status = {};
    const off_t end = lseek(static_cast<int>(m_handle), 0, SEEK_END);
    if (end < 0 || fstat(static_cast<int>(m_handle), &status) != 0) {
        error = errno;
        return false;
    }
    state = {static_cast<std::uint64_t>(end), S_ISREG(status.st_mode) ? ModifiedOf(status) : 0};
    return true;
}

bool CSystemFile::StateThatShowsWrites(CState& state, int& error) const {
    bool isTold = State(state, error);
#if defined(CLOCK_REALTIME_COARSE)
    for (int wait = 0; isTold && wait < MostWaits && state.modified >= NowOnFilesClock(); ++wait) {
        constexpr timespec millisecond = {0, 1000000};
        (void)nanosleep(&millisecond, nullptr);
        isTold = State(state, error);
    }
#endif
    return isTold;
}

bool CSystemFile::Key(CKey& key, int& error) const {
    struct stat status = {};
    if (fstat(static_cast<int>(m_handle), &status) != 0) {
        error = errno;
        return false;
    }
    const auto made = MadeAt(static_cast<int>(m_handle));
    key = {static_cast<std::uint64_t>(status.st_dev), static_cast<std::uint64_t>(status.st_ino),
           made[0], made[1]};
    return true;
}
std::int64_t CSystemFile::ReadSome(std::uint64_t position, unsigned char* bytes, std::size_t count,
                                   int& error) const {
    ssize_t got = -1;
    do {
        got = pread(static_cast<int>(m_handle), bytes, count, static_cast<off_t>(position));
    } while (got < 0 && errno == EINTR);
    error = got < 0 ? errno : 0;
    return got;
}

std::size_t FreeDescriptors(std::size_t most) {
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return most;
    }
    std::size_t count = 0;
    // Ends: a number below the limit is either free, of which `most` are counted, or an open
    // file's.
    for (rlim_t number = 0; number < limit.rlim_cur && count < most; ++number) {
        const bool isOpen = fcntl(static_cast<int>(number), F_GETFD) != -1;
        count += isOpen ? 0 : 1;
    }
    return count;
}

}  // namespace NVHDXDisk
