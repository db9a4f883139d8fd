#include "tools/vhdx/unfinished_file.h"

#include <fcntl.h>

#include <cerrno>
#include <random>
#include <string>
#include <utility>

#include <fmt/format.h>

#if defined(_WIN32)
#include <io.h>

#include "tools/vhdx/windows_file.h"
#else
#include <unistd.h>
#endif

#include "tools/vhdx/file_place.h"

namespace NTool {

namespace {

namespace fs = std::filesystem;

constexpr int mostAttempts = 100;

#if defined(_WIN32)

int OpenNew(const fs::path& path) {
    // The runtime takes no "x" in the mode and would empty somebody else's file.
    return OpenRemovable(path, EOpening::toReadAndWriteNew);
}

int CloseFile(int file) {
    return _close(file) == 0 ? 0 : errno;
}

#else

int OpenNew(const fs::path& path) {
    return open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
}

int CloseFile(int file) {
    return close(file) == 0 ? 0 : errno;
}

#endif

#if defined(O_TMPFILE)

std::string NameOfDescriptor(int file) {
    return fmt::format("/proc/self/fd/{}", file);
}

/// A file that can be given a name later; -1 where there is no such thing.
int OpenNameless(const fs::path& folder) {
    const int file = open(folder.c_str(), O_RDWR | O_TMPFILE | O_CLOEXEC, 0600);
    // The name is given by way of this one, which not every system shows to everybody.
    if (file >= 0 && access(NameOfDescriptor(file).c_str(), F_OK) != 0) {
        (void)CloseFile(file);
        return -1;
    }
    return file;
}

int Link(int file, const fs::path& name) {
    return linkat(AT_FDCWD, NameOfDescriptor(file).c_str(), AT_FDCWD, name.c_str(),
                  AT_SYMLINK_FOLLOW) == 0
               ? 0
               : errno;
}

#else

std::string NameOfDescriptor(int) {
    return {};
}

int OpenNameless(const fs::path&) {
    return -1;
}

int Link(int, const fs::path&) {
    return ENOTSUP;
}

#endif

}  // namespace

CUnfinishedFile::CUnfinishedFile(fs::path place) : m_place(std::move(place)) {
    if (!OpenWithoutName()) {
        m_error = OpenWithName();
    }
}

CUnfinishedFile::~CUnfinishedFile() {
    (void)Close();
    if (!m_name.empty()) {
        RemoveQuietly(m_name);
    }
}

fs::path CUnfinishedFile::Path() const {
    return m_name.empty() ? fs::path(NameOfDescriptor(m_file)) : m_name;
}

bool CUnfinishedFile::OpenWithoutName() {
    m_file = OpenNameless(m_place.has_parent_path() ? m_place.parent_path() : ".");
    return m_file >= 0;
}

int CUnfinishedFile::OpenWithName() {
    m_guard = std::make_unique<CRemovedWhenInterrupted>();
    for (int attempt = 1; m_file < 0; ++attempt) {
        const fs::path name = RandomName();
        m_file = OpenNew(name);
        if (m_file >= 0) {
            m_name = name;
        } else if (errno != EEXIST || attempt == mostAttempts) {
            return errno;
        }
    }
    m_guard->Guard(m_name);
    return 0;
}

/// Not made of the place's name, which may be as long as a name can be.
fs::path CUnfinishedFile::RandomName() const {
    std::random_device random;
    return m_place.parent_path() / fmt::format("vhdx-{:08x}{:08x}.part", random(), random());
}

int CUnfinishedFile::TakeFreePlace() {
    if (m_name.empty()) {
        return Finished(Link(m_file, m_place));
    }
    const int error = Close();
    return Finished(error == 0 ? MoveToFreePlace(m_name, m_place) : error);
}

int CUnfinishedFile::TakePlace() {
    if (m_name.empty()) {
        const int error = Link(m_file, m_place);
        return Finished(error == EEXIST ? ReplaceOlder() : error);
    }
    const int error = Close();
    return Finished(error == 0 ? MoveOver(m_name, m_place) : error);
}

/// Only what has a name can be moved over another file: it has one for a moment, in which
/// interruptions wait.
int CUnfinishedFile::ReplaceOlder() {
    const CRemovedWhenInterrupted waiting;
    int error = EEXIST;
    fs::path name;
    for (int attempt = 0; error == EEXIST && attempt != mostAttempts; ++attempt) {
        name = RandomName();
        error = Link(m_file, name);
    }
    if (error == 0) {
        error = MoveOver(name, m_place);
        if (error != 0) {
            RemoveQuietly(name);
        }
    }
    return error;
}

int CUnfinishedFile::Close() {
    return m_file < 0 ? 0 : CloseFile(std::exchange(m_file, -1));
}

int CUnfinishedFile::Finished(int error) {
    if (error == 0) {
        m_name.clear();
        m_guard.reset();
    }
    return error;
}

}  // namespace NTool
