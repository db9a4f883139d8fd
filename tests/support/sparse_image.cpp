#include "tests/support/sparse_image.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <limits>
#include <stdexcept>

namespace NTest {
namespace {

bool IsZero(std::span<const unsigned char> bytes) {
    // The first byte is, and every other is as the one before it.
    return bytes.empty() || (bytes.front() == 0 &&
                             std::memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0);
}

}  // namespace

void CSparseImage::Write(std::uint64_t offset, std::span<const unsigned char> bytes) {
    if (bytes.size() > std::numeric_limits<std::uint64_t>::max() - offset) {
        throw std::length_error("write past the largest offset");
    }
    m_size = std::max(m_size, offset + bytes.size());
    while (!bytes.empty()) {
        const std::uint64_t start = offset % s_pageSize;
        const auto part = bytes.first(
            static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), s_pageSize - start)));
        auto page = m_pages.find(offset / s_pageSize);
        if (page == m_pages.end() && !IsZero(part)) {
            page = m_pages.emplace(offset / s_pageSize, CBytes(s_pageSize)).first;
        }
        if (page != m_pages.end()) {
            std::copy(part.begin(), part.end(),
                      page->second.begin() + static_cast<std::ptrdiff_t>(start));
        }
        offset += part.size();
        bytes = bytes.subspan(part.size());
    }
}

std::uint64_t CSparseImage::Read(std::uint64_t offset, std::span<unsigned char> bytes) const {
    const std::uint64_t inside =
        offset < m_size ? std::min<std::uint64_t>(bytes.size(), m_size - offset) : 0;
    bytes = bytes.first(static_cast<std::size_t>(inside));
    while (!bytes.empty()) {
        const std::uint64_t start = offset % s_pageSize;
        const auto part = bytes.first(
            static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), s_pageSize - start)));
        const auto page = m_pages.find(offset / s_pageSize);
        if (page == m_pages.end()) {
            std::fill(part.begin(), part.end(), static_cast<unsigned char>(0));
        } else {
            std::copy_n(page->second.begin() + static_cast<std::ptrdiff_t>(start), part.size(),
                        part.begin());
        }
        offset += part.size();
        bytes = bytes.subspan(part.size());
    }
    return inside;
}

CBytes CSparseImage::Bytes(std::uint64_t offset, std::uint64_t length) const {
    if (offset > m_size || length > m_size - offset) {
        throw std::out_of_range("read past the end of the image");
    }
    CBytes bytes(static_cast<std::size_t>(length));
    Read(offset, bytes);
    return bytes;
}

std::uint64_t CSparseImage::Number(std::uint64_t offset, std::uint64_t width) const {
    return LittleEndian(Bytes(offset, width));
}

void CSparseImage::Resize(std::uint64_t size) {
    m_pages.erase(m_pages.lower_bound(size / s_pageSize + (size % s_pageSize != 0 ? 1 : 0)),
                  m_pages.end());
    const auto last = m_pages.find(size / s_pageSize);
    if (last != m_pages.end()) {
        std::fill(last->second.begin() + static_cast<std::ptrdiff_t>(size % s_pageSize),
                  last->second.end(), static_cast<unsigned char>(0));
    }
    m_size = size;
}

std::uint64_t CSparseImage::ResidentSize() const {
    return m_pages.size() * s_pageSize;
}

void CSparseImage::WriteTo(const std::filesystem::path& path) const {
    std::ofstream file;
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.open(path, std::ios::binary | std::ios::trunc);
    for (const auto& [index, page] : m_pages) {
        file.seekp(static_cast<std::streamoff>(index * s_pageSize));
        file.write(reinterpret_cast<const char*>(page.data()),
                   static_cast<std::streamsize>(page.size()));
    }
    file.close();
    std::filesystem::resize_file(path, m_size);
}

}  // namespace NTest
