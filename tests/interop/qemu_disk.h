#ifndef VHDX_PARSER_TESTS_INTEROP_QEMU_DISK_H
#define VHDX_PARSER_TESTS_INTEROP_QEMU_DISK_H

/// A disk that qemu-img makes and qemu-io writes to, and what those say about it.

#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace NTest {

/// `length` bytes of the value `byte` from `offset` on.
struct CWrittenRange {
    std::uint64_t offset;
    std::uint64_t length;
    unsigned byte;
};

/// Throws when a program fails, or is not there.
class CQemuDisk {
public:
    /// `options` as `qemu-img create -o` takes them.
    CQemuDisk(const std::string& options, std::uint64_t virtualSize);

    std::string Path() const { return (m_folder / "disk.vhdx").string(); }
    std::filesystem::path InFolder(const std::string& name) const { return m_folder / name; }

    void Write(const std::vector<CWrittenRange>& ranges) const;

    nlohmann::json Info() const;
    nlohmann::json Map() const;

    /// Writes the content of the whole disk to "qemu.raw" in the folder and returns its path.
    std::filesystem::path Convert() const;

    /// Bytes of the virtual disk, by way of `qemu-img dd`; both numbers are multiples of 512.
    std::string Read(std::uint64_t offset, std::uint64_t length) const;

private:
    CTemporaryFolder m_folder;
};

/// The bytes [offset, offset + length) of a file; throws when it is shorter.
std::string FileRange(const std::filesystem::path& path, std::uint64_t offset,
                      std::uint64_t length);

}  // namespace NTest

#endif
