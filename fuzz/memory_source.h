#ifndef VHDX_PARSER_FUZZ_MEMORY_SOURCE_H
#define VHDX_PARSER_FUZZ_MEMORY_SOURCE_H

/// A good disk file in memory for the library of disks, which an input changes and which is good
/// again afterwards. Only its first bytes are kept; every other byte follows from its position, so
/// that blocks of any size cost no memory.

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <span>
#include <utility>
#include <vector>

#include <vhdx_disk/source.h>

#include "tests/support/content_pattern.h"
#include "tests/support/naive_log.h"
#include "tests/support/sparse_image.h"

namespace NFuzz {

class CMemorySource final : public NVHDXDisk::IByteSource {
public:
    CMemorySource(std::filesystem::path path, const NTest::CSparseImage& good,
                  std::uint64_t keptBytes)
        : m_path(std::move(path)),
          m_good(good.Bytes(0, std::min(keptBytes, good.Size()))),
          m_bytes(m_good),
          m_goodSize(good.Size()),
          m_size(m_goodSize) {}

    const std::filesystem::path& Path() const override { return m_path; }
    std::uint64_t Size() const override { return m_size; }

    bool ReadAt(std::uint64_t position, unsigned char* bytes, std::size_t count,
                NVHDXDisk::CFailure& failure) const override {
        if (position <= m_size && count <= m_size - position) {
            Fill(position, std::span(bytes, count));
            return true;
        }
        failure = NVHDXDisk::MakeFailure(NVHDXDisk::CFailure::cannotBeRead, m_path,
                                         "the memory ends before");
        return false;
    }

    NTest::CNaiveBytes Naive() const {
        return {m_size, [this](std::uint64_t position, std::span<unsigned char> bytes) {
                    Fill(position, bytes);
                }};
    }

    /// What lies behind the bytes that are kept stays as it is.
    void Write(std::uint64_t offset, std::span<const unsigned char> bytes) {
        const std::uint64_t inside = offset < m_bytes.size() ? m_bytes.size() - offset : 0;
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), inside));
        if (count != 0) {
            std::copy_n(bytes.begin(), count, m_bytes.begin() + Place(offset));
            m_changed.emplace_back(offset, count);
        }
    }

    /// A part of the kept bytes.
    std::span<const unsigned char> Kept(std::uint64_t offset, std::size_t count) const {
        return std::span(m_bytes).subspan(static_cast<std::size_t>(offset), count);
    }

    /// Whether anything was written there.
    bool IsChanged(std::uint64_t offset, std::uint64_t count) const {
        return std::any_of(m_changed.begin(), m_changed.end(), [=](const auto& change) {
            return change.first < offset + count && offset < change.first + change.second;
        });
    }

    void Resize(std::uint64_t size) { m_size = size; }

    void Restore() {
        for (const auto& [offset, count] : m_changed) {
            std::copy_n(m_good.begin() + Place(offset), count, m_bytes.begin() + Place(offset));
        }
        m_changed.clear();
        m_size = m_goodSize;
    }

private:
    static constexpr std::size_t s_pageSize = 4096;

    static std::ptrdiff_t Place(std::uint64_t offset) {
        return static_cast<std::ptrdiff_t>(offset);
    }

    void Fill(std::uint64_t position, std::span<unsigned char> bytes) const {
        const std::uint64_t inside = position < m_bytes.size() ? m_bytes.size() - position : 0;
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), inside));
        if (count != 0) {
            std::copy_n(m_bytes.begin() + Place(position), count, bytes.begin());
        }
        FillBehind(position + count, bytes.subspan(count));
    }

    /// Each page is a part of one piece of noise, from a place that its number gives.
    static void FillBehind(std::uint64_t position, std::span<unsigned char> bytes) {
        static const NTest::CBytes noise = NTest::Pattern(1, 0, 65536 + s_pageSize);
        while (!bytes.empty()) {
            const std::uint64_t page = position / s_pageSize;
            const std::uint64_t start = position % s_pageSize;
            const auto count =
                static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), s_pageSize - start));
            const std::uint64_t from = (page * 0x9E3779B97F4A7C15u >> 48) + start;
            std::copy_n(noise.begin() + Place(from), count, bytes.begin());
            position += count;
            bytes = bytes.subspan(count);
        }
    }

    const std::filesystem::path m_path;
    const NTest::CBytes m_good;
    NTest::CBytes m_bytes;
    const std::uint64_t m_goodSize;
    std::uint64_t m_size;
    std::vector<std::pair<std::uint64_t, std::size_t>> m_changed;
};

/// The source without an owner: the targets keep theirs for ever.
inline NVHDXDisk::CSourcePointer Unowned(const CMemorySource& source) {
    return {NVHDXDisk::CSourcePointer(), &source};
}

}  // namespace NFuzz

#endif
