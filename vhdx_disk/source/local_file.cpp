#include "vhdx_disk/source/local_file.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <system_error>
#include <utility>

#include <vhdx_disk/path_query.h>
#include <vhdx_disk/source.h>

#include "vhdx_disk/source/descriptor_pool.h"
#include "vhdx_disk/source/fail.h"
#include "vhdx_disk/source/read_bytes.h"
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

bool FailToOpen(CFailure& failure, const fs::path& path, int error) {
    return Fail(failure, CFailure::cannotBeOpened, path,
                WithMessage("the file cannot be opened", error), error);
}

/// FileWriteGuid and DataWriteGuid of both headers as they stand, for comparison only.
using CIdentifiers = std::array<unsigned char, 64>;

/// Zeros in place of what the file does not have or the system does not give.
CIdentifiers IdentifiersOf(const CSystemFile& file) {
    using NVHDX::NFormat::VHDX_HEADER;
    constexpr std::size_t begin = offsetof(VHDX_HEADER, FileWriteGuid);
    constexpr std::size_t size = offsetof(VHDX_HEADER, LogGuid) - begin;
    CIdentifiers identifiers = {};
    static_assert(2 * size == sizeof identifiers);
    unsigned char* at = identifiers.data();
    for (const std::uint64_t header : {VHDX_HEADER::FirstPosition, VHDX_HEADER::SecondPosition}) {
        int ignored = 0;
        if (!file.ReadAt(header + begin, at, size, ignored)) {
            std::fill_n(at, size, static_cast<unsigned char>(0));
        }
        at += size;
    }
    return identifiers;
}

class CLocalFile final : public IByteSource {
public:
    explicit CLocalFile(const fs::path& path) : m_path(path) {}
    ~CLocalFile() override { Pool().Remove(m_slot); }

    bool Open(CFailure& failure) {
        int error = 0;
        auto file = CSystemFile::Open(m_path, error);
        if (file == nullptr || !file->StateThatShowsWrites(m_state, error) ||
            !file->Key(m_key, error)) {
            return FailToOpen(failure, m_path, error);
        }
        m_identifiers = IdentifiersOf(*file);
        Pool().Put(m_slot, std::move(file));
        return true;
    }

    const fs::path& Path() const override { return m_path; }
    std::uint64_t Size() const override { return m_state.size; }

    bool ReadAt(std::uint64_t position, unsigned char* bytes, std::size_t count,
                CFailure& failure) const override {
        // Beyond any size a position may be none that the system knows.
        if (position > Size() || count > Size() - position) {
            return FailPastEnd(failure, m_path, position, count);
        }
        const auto file = Opened(failure);
        int error = 0;
        if (file == nullptr || file->ReadAt(position, bytes, count, error)) {
            return file != nullptr;
        }
        return error == 0 ? Fail(failure, CFailure::changedMeanwhile, m_path,
                                 "the file became shorter while it was read")
                          : Fail(failure, CFailure::cannotBeRead, m_path,
                                 WithMessage(UnreadableText(position, count), error), error);
    }

    bool CheckUnchanged(CFailure& failure) const override {
        const auto file = Opened(failure);
        CSystemFile::CState now;
        int error = 0;
        if (file == nullptr || !file->State(now, error)) {
            return file != nullptr && FailToOpen(failure, m_path, error);
        }
        return now == m_state ||
               Fail(failure, CFailure::changedMeanwhile, m_path,
                    now.size == m_state.size ? "the file was written while it was read"
                                             : "the file's size changed while it was read");
    }

    std::shared_ptr<const std::intptr_t> SystemHandle() const override {
        CFailure ignored;  // who reads the file is told
        const auto file = Opened(ignored);
        return file == nullptr ? nullptr
                               : std::shared_ptr<const std::intptr_t>(file, &file->Handle());
    }

private:
    CDescriptorPool::COpenPointer Opened(CFailure& failure) const {
        return Pool().Get(m_slot, [this, &failure] { return OpenAgain(failure); });
    }

    /// The file that was opened first, or none.
    std::shared_ptr<const CSystemFile> OpenAgain(CFailure& failure) const {
        int error = 0;
        CSystemFile::CKey key = {};
        CSystemFile::CState state;
        auto file = CSystemFile::Open(m_path, error);
        if (file == nullptr || !file->Key(key, error) || !file->State(state, error)) {
            FailToOpen(failure, m_path, error);
            return nullptr;
        }
        if (key != m_key || state.size != Size() || IdentifiersOf(*file) != m_identifiers) {
            Fail(failure, CFailure::changedMeanwhile, m_path,
                 "the file was replaced by another one while it was read");
            return nullptr;
        }
        return file;
    }

    const fs::path m_path;
    CSystemFile::CState m_state;
    CSystemFile::CKey m_key = {};
    CIdentifiers m_identifiers = {};
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
    /// Whoever may not look at a place has to be told that when it is opened.
    bool MayBeDisk(const fs::path& path) const override {
        std::error_code error;
        const std::optional<CFileState> state = StateOf(path, error);
        return error || (state && state->size >= NVHDX::NFormat::HeaderAreaSize);
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
