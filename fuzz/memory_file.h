#ifndef VHDX_PARSER_FUZZ_MEMORY_FILE_H
#define VHDX_PARSER_FUZZ_MEMORY_FILE_H

/// A good file in memory that an input changes and that is good again afterwards. Only what changed
/// is put back, so that an execution costs neither a copy of the file nor fresh memory.

#include <algorithm>
#include <istream>
#include <span>
#include <streambuf>
#include <utility>
#include <vector>

#include "tests/support/bytes.h"

namespace NFuzz {

class CMemoryFile {
public:
    explicit CMemoryFile(NTest::CBytes good)
        : m_good(std::move(good)), m_bytes(m_good), m_size(m_good.size()) {}

    /// Writes what lies inside the file; how many bytes that were.
    std::size_t Write(std::uint64_t offset, std::span<const unsigned char> bytes) {
        const std::size_t count = Inside(offset, bytes.size());
        if (count != 0) {
            std::copy_n(bytes.begin(), count, m_bytes.begin() + Place(offset));
            m_changed.emplace_back(offset, count);
        }
        return count;
    }

    std::size_t Read(std::uint64_t offset, std::span<unsigned char> bytes) const {
        const std::size_t count = Inside(offset, bytes.size());
        if (count != 0) {
            std::copy_n(m_bytes.begin() + Place(offset), count, bytes.begin());
        }
        return count;
    }

    std::uint64_t Size() const { return m_size; }

    void Cut(std::uint64_t size) { m_size = std::min<std::uint64_t>(size, m_size); }

    void Restore() {
        for (const auto& [offset, count] : m_changed) {
            std::copy_n(m_good.begin() + Place(offset), count, m_bytes.begin() + Place(offset));
        }
        m_changed.clear();
        m_size = m_good.size();
    }

private:
    static std::ptrdiff_t Place(std::uint64_t offset) {
        return static_cast<std::ptrdiff_t>(offset);
    }

    std::size_t Inside(std::uint64_t offset, std::size_t count) const {
        return offset < m_size ? std::min<std::size_t>(count, m_size - offset) : 0;
    }

    const NTest::CBytes m_good;
    NTest::CBytes m_bytes;
    std::vector<std::pair<std::uint64_t, std::size_t>> m_changed;
    std::uint64_t m_size;
};

/// One position for both directions, as a file has it; it may lie past the end.
class CMemoryFileBuffer : public std::basic_streambuf<unsigned char> {
public:
    explicit CMemoryFileBuffer(CMemoryFile& file) : m_file(file) {}

protected:
    pos_type seekoff(off_type offset, std::ios_base::seekdir direction,
                     std::ios_base::openmode which) override {
        const std::uint64_t start = direction == std::ios_base::beg   ? 0
                                    : direction == std::ios_base::cur ? m_position
                                                                      : m_file.Size();
        return seekpos(offset + static_cast<off_type>(start), which);
    }
    pos_type seekpos(pos_type position, std::ios_base::openmode) override {
        if (off_type(position) < 0) {
            return pos_type(off_type(-1));
        }
        m_position = static_cast<std::uint64_t>(off_type(position));
        return position;
    }
    std::streamsize xsgetn(char_type* bytes, std::streamsize count) override {
        return Advance(m_file.Read(m_position, {bytes, static_cast<std::size_t>(count)}));
    }
    std::streamsize xsputn(const char_type* bytes, std::streamsize count) override {
        return Advance(m_file.Write(m_position, {bytes, static_cast<std::size_t>(count)}));
    }

private:
    std::streamsize Advance(std::size_t count) {
        m_position += count;
        return static_cast<std::streamsize>(count);
    }

    CMemoryFile& m_file;
    std::uint64_t m_position = 0;
};

class CMemoryStream : private CMemoryFileBuffer, public std::basic_iostream<unsigned char> {
public:
    explicit CMemoryStream(CMemoryFile& file)
        : CMemoryFileBuffer(file),
          std::basic_iostream<unsigned char>(static_cast<CMemoryFileBuffer*>(this)) {}
};

}  // namespace NFuzz

#endif
