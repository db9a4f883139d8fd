#include "vhdx_disk/source/local_file.h"

#include <memory>
#include <string>
#include <system_error>
#include <utility>

#include <vhdx_disk/path_query.h>
#include <vhdx_disk/source.h>

#include "vhdx_disk/source/descriptor_pool.h"
#include "vhdx_disk/source/fail.h"
#include "vhdx_parser/container/format.h"

namespace NVHDXDisk {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t MostDescriptors = 64;

/// Of all disks together. Never destroyed: disks may outlive everything else of the program.
CDescriptorPool& Pool() {
    static auto* const pool = new CDescriptorPool(MostDescriptors);
    return *pool;
}

std::string WithMessage(const std::string& text, int error) {
    return error == 0 ? text : text + ": " + std::generic_category().message(error);
}

bool FailToOpen(CFailure& failure, const fs::path& path, int error) {
    return Fail(failure, CFailure::cannotBeOpened, path,
                WithMessage("the file cannot be opened", error), error);
}

class CLocalFile final : public IByteSource {
public:
    explicit CLocalFile(const fs::path& path) : m_path(path) {}
    ~CLocalFile() override { Pool().Remove(m_slot); }

    bool Open(CFailure& failure) {
        int error = 0;
        auto file = CSystemFile::Open(m_path, error);
        if (file == nullptr || !file->Size(m_size, error) || !file->Key(m_key, error)) {
            return FailToOpen(failure, m_path, error);
        }
        Pool().Put(m_slot, std::move(file));
        return true;
    }

    const fs::path& Path() const override { return m_path; }
    std::uint64_t Size() const override { return m_size; }

    bool ReadAt(std::uint64_t position, unsigned char* bytes, std::size_t count,
                CFailure& failure) const override {
        const auto file = Pool().Get(m_slot, [this, &failure] { return OpenAgain(failure); });
        int error = 0;
        if (file == nullptr) {
            return false;
        }
        // Beyond any size a position may be none that the system knows.
        const bool inside = position <= m_size && count <= m_size - position;
        if (inside && file->ReadAt(position, bytes, count, error)) {
            return true;
        }
        return Fail(failure, CFailure::cannotBeRead, m_path,
                    WithMessage(std::to_string(count) + " bytes at position " +
                                    std::to_string(position) + " cannot be read",
                                error),
                    error);
    }

private:
    /// The file that was opened first, or none.
    std::shared_ptr<const CSystemFile> OpenAgain(CFailure& failure) const {
        int error = 0;
        CSystemFile::CKey key = {};
        auto file = CSystemFile::Open(m_path, error);
        if (file == nullptr || !file->Key(key, error)) {
            FailToOpen(failure, m_path, error);
            return nullptr;
        }
        if (key != m_key) {
            Fail(failure, CFailure::changedMeanwhile, m_path,
                 "the file was replaced by another one while it was read");
            return nullptr;
        }
        return file;
    }

    const fs::path m_path;
    std::uint64_t m_size = 0;
    CSystemFile::CKey m_key = {};
    mutable CDescriptorPool::CSlot m_slot;
};

class CFileOpener final : public ISourceOpener {
public:
    CSourcePointer Open(const fs::path& path, CFailure& failure) const override {
        return OpenFile(path, failure);
    }
    fs::path Canonical(const fs::path& path) const override { return NVHDXDisk::Canonical(path); }

    /// Not a pipe or a device, and none of the files without a size that a system makes up while
    /// they are read: who reads some of those waits for as long as nothing happens.
    bool MayBeDisk(const fs::path& path) const override {
        const std::optional<CFileState> state = StateOf(path);
        return state && state->size >= NVHDX::NFormat::HeaderAreaSize;
    }
};

}  // namespace

bool IsFileWithSize(const fs::path& path, CFailure& failure) {
    std::error_code error;
    switch (KindOf(path, error)) {
        case fs::file_type::regular:
        case fs::file_type::block:
            return true;
        case fs::file_type::not_found:
            return Fail(failure, CFailure::notFound, path, "there is no such file", ENOENT);
        case fs::file_type::directory:
            return Fail(failure, CFailure::cannotBeOpened, path,
                        "this is a folder, not a disk file", EISDIR);
        case fs::file_type::none:
            return FailToOpen(failure, path, error.value());
        default:
            return Fail(failure, CFailure::cannotBeOpened, path,
                        "this is not a file with a size, but a pipe, socket or device");
    }
}

CSourcePointer OpenFile(const fs::path& path, CFailure& failure) {
    if (!IsFileWithSize(path, failure)) {
        return nullptr;
    }
    auto file = std::make_shared<CLocalFile>(path);
    return file->Open(failure) ? file : nullptr;
}

const ISourceOpener& FileOpener() {
    static const auto* const opener = new CFileOpener;
    return *opener;
}

}  // namespace NVHDXDisk
