#ifndef VHDX_DISK_SOURCE_SYSTEM_FILE_H
#define VHDX_DISK_SOURCE_SYSTEM_FILE_H

/// A file that is open in the system. One implementation for each platform: system_file_posix.cpp
/// and system_file_windows.cpp.

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>

namespace NVHDXDisk {

/// Reads by position, from any number of threads at a time. Shared with readers and writers.
class CSystemFile {
public:
    /// What tells a file from every other one of the system: its place there and, where such places
    /// are used again and the system knows it, when it was made.
    using CKey = std::array<std::uint64_t, 4>;

    /// What changes when a file is written.
    struct CState {
        std::uint64_t size = 0;      ///< bytes
        std::uint64_t modified = 0;  ///< in units of the system; 0 of a device
        bool operator==(const CState&) const = default;
    };

    /// Null, with the value of `errno` in `error`, when the system does not open it.
    [[nodiscard]] static std::shared_ptr<const CSystemFile> Open(const std::filesystem::path& path,
                                                                 int& error);

    explicit CSystemFile(std::intptr_t handle) : m_handle(handle) {}
    CSystemFile(const CSystemFile&) = delete;
    CSystemFile& operator=(const CSystemFile&) = delete;
    ~CSystemFile();

    /// As it is at this moment. False, with the value of `errno` in `error`, when the system does
    /// not tell.
    [[nodiscard]] bool State(CState& state, int& error) const;

    /// The same, in a moment at which a write that comes later will show in it: the clock of files
    /// goes in steps of some milliseconds, and of a file that was written in the present one the
    /// next is waited for. Not for more than a few of them.
    [[nodiscard]] bool StateThatShowsWrites(CState& state, int& error) const;

    [[nodiscard]] bool Key(CKey& key, int& error) const;
    /// All bytes or false; `error` is then 0 where the file ends before.
    [[nodiscard]] bool ReadAt(std::uint64_t position, unsigned char* bytes, std::size_t count,
                              int& error) const;

    [[nodiscard]] const std::intptr_t& Handle() const { return m_handle; }

private:
    /// How many bytes came, at least one; 0 at the end of the file, negative for an error.
    std::int64_t ReadSome(std::uint64_t position, unsigned char* bytes, std::size_t count,
                          int& error) const;

    std::intptr_t m_handle;
};

}  // namespace NVHDXDisk

#endif
