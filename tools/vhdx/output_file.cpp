#include "tools/vhdx/output_file.h"

#include <cerrno>
#include <system_error>
#include <utility>

#if defined(_WIN32)
#include <io.h>

#include "tools/vhdx/windows_file.h"
#endif

#include <vhdx_disk/path_query.h>
#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/file_place.h"

namespace NTool {

namespace {

namespace fs = std::filesystem;

std::FILE* OpenToWrite(const fs::path& path, bool mustBeNew) {
    errno = 0;
#if defined(_WIN32)
    // The runtime takes no "x" in the mode and would empty somebody else's file.
    const int file = OpenRemovable(path, mustBeNew ? EOpening::toWriteNew : EOpening::toWrite);
    return file < 0 ? nullptr : _fdopen(file, "wb");
#else
    return std::fopen(path.c_str(), mustBeNew ? "wbx" : "wb");
#endif
}

int DescriptorOf(std::FILE* file) {
#if defined(_WIN32)
    return _fileno(file);
#else
    return fileno(file);
#endif
}

}  // namespace

void CheckNotRead(const std::string& output, const fs::path& source) {
    if (NVHDXDisk::AreSameFile(PathOf(output), source)) {
        throw CCommandFailure(output, "this is the disk file that is read");
    }
}

COutputFile::COutputFile(const std::string& path, const std::string& source, ESync sync,
                         EReplace replace)
    : m_name(path),
      m_sync(sync),
      m_replace(replace),
      // The place that a link leads to, so that the link itself stays.
      m_path(NVHDXDisk::Canonical(PathOf(path))) {
    CheckNotRead(path, PathOf(source));
    std::error_code error;
    switch (NVHDXDisk::KindOf(m_path, error)) {
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
        default:
            OpenDirectly();
    }
}

COutputFile::~COutputFile() {
    if (m_file != nullptr) {
        static_cast<void>(std::fclose(m_file));
    }
    if (!m_temporary.empty()) {
        RemoveQuietly(m_temporary);
    }
}

void COutputFile::CreateBeside() {
    m_guard = std::make_unique<CRemovedWhenInterrupted>();
    for (int attempt = 0; m_file == nullptr; ++attempt) {
        m_temporary = m_path;
        m_temporary += ".part" + std::to_string(attempt);
        m_file = OpenToWrite(m_temporary, true);
        if (m_file == nullptr && (errno != EEXIST || attempt == 99)) {
            const int error = errno;
            m_temporary.clear();
            throw CCommandFailure(m_name,
                                  "cannot be written: " + std::generic_category().message(error));
        }
    }
    m_guard->Guard(m_temporary);
    m_output = std::make_unique<COutput>(m_file, m_name, true);
}

void COutputFile::OpenDirectly() {
    m_file = OpenToWrite(m_path, false);
    if (m_file == nullptr) {
        throw CCommandFailure(m_name,
                              "cannot be written: " + std::generic_category().message(errno));
    }
    m_output = std::make_unique<COutput>(m_file, m_name);
}

void COutputFile::Commit() {
    m_output->Flush();
    MakeBytesDurable();
    errno = 0;
    if (std::fclose(std::exchange(m_file, nullptr)) != 0) {
        m_output->Fail(errno);
    }
    if (m_temporary.empty()) {
        return;
    }
    TakePlace();
    m_temporary.clear();
    m_guard.reset();
    MakePlaceDurable();
}

/// Before the result has its name: a name without the bytes is what a power cut could leave.
void COutputFile::MakeBytesDurable() {
    if (m_sync == ESync::needed) {
        if (const int error = MakeDurable(DescriptorOf(m_file)); error != 0) {
            m_output->Fail(error);
        }
    }
}

void COutputFile::TakePlace() {
    std::error_code unknown;
    if (NVHDXDisk::KindOf(m_path, unknown) == fs::file_type::regular) {
        if (m_replace == mustBeNew) {
            FailExisting();
        }
        CopyPermissions(m_path, m_temporary);
    }
    const int error = m_replace == mustBeNew ? MoveToFreePlace(m_temporary, m_path)
                                             : MoveOver(m_temporary, m_path);
    if (error == EEXIST && m_replace == mustBeNew) {
        FailExisting();
    }
    if (error != 0) {
        m_output->Fail(error);
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

}  // namespace NTool
