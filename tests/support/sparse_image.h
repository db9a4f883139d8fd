#ifndef VHDX_PARSER_TESTS_SUPPORT_SPARSE_IMAGE_H
#define VHDX_PARSER_TESTS_SUPPORT_SPARSE_IMAGE_H

/// A disk file in memory that costs only what was written into it.

#include <cstdint>
#include <filesystem>
#include <map>

#include "tests/support/bytes.h"

namespace NTest {

/// A growable byte image; what was never written reads as zeros. A value: copies are independent.
class CSparseImage {
public:
    /// Writes the bytes; the image grows to hold them. Zeros over a hole stay a hole.
    void Write(std::uint64_t offset, std::span<const unsigned char> bytes);

    /// Fills the bytes from the offset on and returns how many of them lie inside the image.
    std::uint64_t Read(std::uint64_t offset, std::span<unsigned char> bytes) const;

    /// The bytes [offset, offset + length); throws std::out_of_range when the image is too small.
    CBytes Bytes(std::uint64_t offset, std::uint64_t length) const;

    /// The little-endian number of `width` bytes at the offset.
    std::uint64_t Number(std::uint64_t offset, std::uint64_t width) const;

    std::uint64_t Size() const { return m_size; }

    /// Grows with zeros, or cuts the image off.
    void Resize(std::uint64_t size);

    /// How many bytes of memory the written pages take.
    std::uint64_t ResidentSize() const;

    /// Creates (or replaces) a file with this content, sparse where the file system can.
    void WriteTo(const std::filesystem::path& path) const;

private:
    static constexpr std::uint64_t s_pageSize = 64 * KiB;

    std::map<std::uint64_t, CBytes> m_pages;
    std::uint64_t m_size = 0;
};

}  // namespace NTest

#endif
