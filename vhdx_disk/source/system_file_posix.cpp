#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>

#include "vhdx_disk/source/system_file.h"

namespace NVHDXDisk {

std::shared_ptr<const CSystemFile> CSystemFile::Open(const std::filesystem::path& path,
                                                     int& error) {
    int file = -1;
    do {
        file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
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

/// Also of a device.
bool CSystemFile::Size(std::uint64_t& size, int& error) const {
    const off_t end = lseek(static_cast<int>(m_handle), 0, SEEK_END);
    error = end < 0 ? errno : 0;
    size = end < 0 ? 0 : static_cast<std::uint64_t>(end);
    return end >= 0;
}

bool CSystemFile::Key(CKey& key, int& error) const {
    struct stat status = {};
    if (fstat(static_cast<int>(m_handle), &status) != 0) {
        error = errno;
        return false;
    }
    key = {static_cast<std::uint64_t>(status.st_dev), static_cast<std::uint64_t>(status.st_ino)};
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

}  // namespace NVHDXDisk
