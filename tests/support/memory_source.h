#ifndef VHDX_PARSER_TESTS_SUPPORT_MEMORY_SOURCE_H
#define VHDX_PARSER_TESTS_SUPPORT_MEMORY_SOURCE_H

/// Disk files in memory for the library of disks, which keep a record of what is read of them and
/// fail where a test wants it.

#include <cerrno>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include <vhdx_disk/source.h>

#include "tests/support/sparse_image.h"
#include "tests/support/test_stream.h"

namespace NTest {

class CMemorySource final : public NVHDXDisk::IByteSource {
public:
    explicit CMemorySource(CSparseImage image, std::filesystem::path path = "memory.vhdx")
        : m_image(std::move(image)), m_path(std::move(path)) {}

    /// Reads that touch the byte at this position fail with the number of an error.
    void FailAt(std::uint64_t position, int error) { m_failing = {position, error}; }

    /// The read of this number, counted from 0 and from now on, fails; those behind it do not.
    void FailRead(std::size_t read, int error) {
        ClearReads();
        m_failingRead = {read, error};
    }
    const std::filesystem::path& Path() const override { return m_path; }
    std::uint64_t Size() const override { return m_image.Size(); }

    bool ReadAt(std::uint64_t position, unsigned char* bytes, std::size_t count,
                NVHDXDisk::CFailure& failure) const override {
        const std::optional<int> error = ErrorOf(position, count);
        if (!error && m_image.Read(position, std::span(bytes, count)) == count) {
            return true;
        }
        failure = NVHDXDisk::MakeFailure(NVHDXDisk::CFailure::cannotBeRead, m_path,
                                         "the memory fails", error.value_or(0));
        return false;
    }

    std::vector<CPortion> Reads() const {
        const std::lock_guard lock(m_mutex);
        return m_reads;
    }
    void ClearReads() {
        const std::lock_guard lock(m_mutex);
        m_reads.clear();
    }

private:
    /// Of a read, which is counted; none when it does not fail.
    std::optional<int> ErrorOf(std::uint64_t position, std::size_t count) const {
        const std::lock_guard lock(m_mutex);
        m_reads.push_back({position, count});
        if (m_failingRead && m_failingRead->first + 1 == m_reads.size()) {
            return m_failingRead->second;
        }
        const bool isBad =
            m_failing && position <= m_failing->first && m_failing->first - position < count;
        return isBad ? std::optional(m_failing->second) : std::nullopt;
    }

    const CSparseImage m_image;
    const std::filesystem::path m_path;
    std::optional<std::pair<std::uint64_t, int>> m_failing;
    std::optional<std::pair<std::size_t, int>> m_failingRead;
    mutable std::mutex m_mutex;
    mutable std::vector<CPortion> m_reads;
};

/// Finds sources by their paths as they are written.
class CMemoryOpener final : public NVHDXDisk::ISourceOpener {
public:
    std::shared_ptr<CMemorySource> Add(const std::filesystem::path& path, CSparseImage image) {
        auto source = std::make_shared<CMemorySource>(std::move(image), path);
        m_sources[path] = source;
        return source;
    }

    NVHDXDisk::CSourcePointer Open(const std::filesystem::path& path,
                                   NVHDXDisk::CFailure& failure) const override {
        const auto found = m_sources.find(path);
        if (found != m_sources.end()) {
            return found->second;
        }
        failure = NVHDXDisk::MakeFailure(NVHDXDisk::CFailure::notFound, path,
                                         "there is no such source", ENOENT);
        return nullptr;
    }

private:
    std::map<std::filesystem::path, std::shared_ptr<CMemorySource>> m_sources;
};

}  // namespace NTest

#endif
