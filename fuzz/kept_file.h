#ifndef VHDX_PARSER_FUZZ_KEPT_FILE_H
#define VHDX_PARSER_FUZZ_KEPT_FILE_H

/// A good disk file that inputs change and that is made good again: as CMemoryFile, on the file
/// system.

#include <filesystem>
#include <fstream>
#include <span>
#include <utility>
#include <vector>

#include "tests/support/sparse_image.h"

namespace NFuzz {

class CKeptFile {
public:
    CKeptFile(NTest::CSparseImage good, std::filesystem::path path)
        : m_good(std::move(good)), m_path(std::move(path)) {
        m_good.WriteTo(m_path);
        m_file.exceptions(std::ios::failbit | std::ios::badbit);
        m_file.open(m_path, std::ios::binary | std::ios::in | std::ios::out);
    }

    void Write(std::uint64_t offset, std::span<const unsigned char> bytes) {
        m_changed.emplace_back(offset, bytes.size());
        Put(offset, bytes);
    }

    void Restore() {
        for (const auto& [offset, count] : std::exchange(m_changed, {})) {
            Put(offset, m_good.Bytes(offset, count));
        }
        m_file.flush();
    }

    /// Makes what was written visible to other streams.
    void Flush() { m_file.flush(); }

    /// Gives the file this name too, or takes the name away.
    void Show(const std::filesystem::path& name, bool isShown) {
        if (isShown != m_isShown) {
            isShown ? std::filesystem::create_hard_link(m_path, name)
                    : void(std::filesystem::remove(name));
            m_isShown = isShown;
        }
    }

private:
    void Put(std::uint64_t offset, std::span<const unsigned char> bytes) {
        m_file.seekp(static_cast<std::streamoff>(offset));
        m_file.write(reinterpret_cast<const char*>(bytes.data()),
                     static_cast<std::streamsize>(bytes.size()));
    }

    NTest::CSparseImage m_good;
    std::filesystem::path m_path;
    std::fstream m_file;
    std::vector<std::pair<std::uint64_t, std::size_t>> m_changed;
    bool m_isShown = false;
};

}  // namespace NFuzz

#endif
