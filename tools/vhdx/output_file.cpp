#include "tools/vhdx/output_file.h"

#include <cerrno>
#include <system_error>
#include <utility>

#if defined(_WIN32)
#include <io.h>

#include "tools/vhdx/windows_file.h"
#else
#include <fcntl.h>
#include <unistd.h>
#endif

#include <vhdx_disk/path_query.h>
#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/permissions.h"

namespace NTool {

namespace {

namespace fs = std::filesystem;

#if defined(_WIN32)

int OpenDevice(const fs::path& path) {
    return OpenRemovable(path, EOpening::toWrite);
}

int Duplicate(int file) {
    return _dup(file);
}

int CloseFile(int file) {
    return _close(file);
}

std::FILE* StreamOf(int file) {
    return _fdopen(file, "wb");
}

int DescriptorOf(std::FILE* file) {
    return _fileno(file);
}

#else

int OpenDevice(const fs::path& path) {
    return open(path.c_str(), O_WRONLY | O_CLOEXEC);
}

int Duplicate(int file) {
    return fcntl(file, F_DUPFD_CLOEXEC, 0);
}

int CloseFile(int file) {
    return close(file);
}

std::FILE* StreamOf(int file) {
    return fdopen(file, "wb");
}

int DescriptorOf(std::FILE* file) {
    return fileno(file);
}

#endif

}  // namespace

void CheckNotRead(const std::string& output, const fs::path& source) {
    if (NVHDXDisk::AreSameFile(PathOf(output), source)) {
        throw CCommandFailure(output, "this is the disk file that is read");
    }
}

COutputFile::COutputFile(const std::string& path, std::vector<fs::path> sources, ESync sync,
                         EReplace replace)
    : m_name(path),
      m_sources(std::move(sources)),
      m_sync(sync),
      m_replace(replace),
      // The place that a link leads to, so that the link itself stays.
      m_path(NVHDXDisk::Canonical(PathOf(path))) {
    for (const fs::path& source : m_sources) {
        CheckNotRead(path, source);
    }
    std::error_code error;
    switch (const fs::file_type kind = NVHDXDisk::KindOf(m_path, error)) {
        case fs::file_type::directory:
            throw CCommandFailure(m_name, "this is a folder");
        case fs::file_type::regular:
            if (m_replace == mustBeNew) {
                FailExisting();
            }
            [[fallthrough]];
        case fs::file_type::not_found:
            CreateBeside();
            break;
        case fs::file_type::none:
            Fail(error.value());
        default:
            // Pipes and terminals have nothing to write down.
            m_sync = kind == fs::file_type::block ? m_sync : ESync::unneeded;
            OpenDirectly();
    }
}

COutputFile::~COutputFile() {
    if (m_file != nullptr) {
        static_cast<void>(std::fclose(m_file));
    }
}

void COutputFile::CreateBeside() {
    m_unfinished = std::make_unique<CUnfinishedFile>(m_path);
    if (m_unfinished->Error() != 0) {
        Fail(m_unfinished->Error());
    }
    OpenOutput(Duplicate(m_unfinished->Descriptor()), true);
}

void COutputFile::OpenDirectly() {
    OpenOutput(OpenDevice(m_path), false);
}

void COutputFile::OpenOutput(int file, bool sparse) {
    m_file = file < 0 ? nullptr : StreamOf(file);
    if (m_file == nullptr) {
        const int error = errno;
        if (file >= 0) {
            static_cast<void>(CloseFile(file));
        }
        Fail(error);
    }
    m_output = std::make_unique<COutput>(m_file, m_name, sparse);
}

void COutputFile::Commit() {
    m_output->Flush();
    if (m_unfinished != nullptr) {
        SetPermissions();
    }
    MakeBytesDurable();
    CloseOutput();
    if (m_unfinished != nullptr) {
        TakePlace();
        MakePlaceDurable();
    }
}

void COutputFile::SetPermissions() const {
    std::error_code unknown;
    if (NVHDXDisk::KindOf(m_path, unknown) == fs::file_type::regular) {
        TakePermissionsOf(m_path, m_unfinished->Descriptor());
    } else {
        TakePermissionsAllowedBy(m_sources, m_unfinished->Descriptor());
    }
}

/// Before the result has its name: a name without the bytes is what a power cut could leave.
void COutputFile::MakeBytesDurable() const {
    if (m_sync == ESync::needed) {
        if (const int error = MakeDurable(DescriptorOf(m_file)); error != 0) {
            Fail(error);
        }
    }
}

void COutputFile::CloseOutput() {
    errno = 0;
    if (std::fclose(std::exchange(m_file, nullptr)) != 0) {
        Fail(errno);
    }
}

void COutputFile::TakePlace() {
    const int error =
        m_replace == mustBeNew ? m_unfinished->TakeFreePlace() : m_unfinished->TakePlace();
    if (error == EEXIST && m_replace == mustBeNew) {
        FailExisting();
    }
    if (error != 0) {
        Fail(error);
    }
}

void COutputFile::MakePlaceDurable() const {
    if (m_sync == ESync::needed) {
        if (const int error = MakeNameDurable(m_path); error != 0) {
            throw CCommandFailure(m_name,
                                  "is complete and in its place, but a power cut may undo that: " +
                                      std::generic_category().message(error));
        }
    }
}

void COutputFile::FailExisting() const {
    throw CCommandFailure(m_name, "this file exists already (--force replaces it)");
}

void COutputFile::Fail(int error) const {
    throw CCommandFailure(m_name, "cannot be written: " + std::generic_category().message(error));
}

}  // namespace NTool
