#ifndef VHDX_TOOLS_VHDX_IMAGE_FILE_H
#define VHDX_TOOLS_VHDX_IMAGE_FILE_H

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

#include "tools/vhdx/stored_runs.h"
namespace NTool {

/// A file read and written by position, with what the system offers for sparse files and for
/// copying without a detour through the program. What fails throws `CCommandFailure` that names the
/// file.
class CImageFile {
public:
    enum EAccess { toRead, toReadAndWrite };

    /// Opens a file that exists.
    CImageFile(const std::filesystem::path& path, std::string name, EAccess access);
    /// A file that is open for reading and writing, and stays so.
    CImageFile(int file, std::string name);
    CImageFile(const CImageFile&) = delete;
    CImageFile& operator=(const CImageFile&) = delete;
    ~CImageFile();

    const std::string& Name() const { return m_name; }
    std::uint64_t Size() const;
    /// What the file grows by reads as zeros and takes no space where the file system allows it.
    void Resize(std::uint64_t size);

    /// Throws also when the file ends before.
    void Read(std::uint64_t offset, std::span<unsigned char> bytes) const;
    void Write(std::uint64_t offset, std::span<const unsigned char> bytes);
    /// Makes the bytes zeros that take no space, where the system can do that.
    void Zero(std::uint64_t offset, std::uint64_t length);

    /// Has the system copy bytes of another open file. Returns how many it copied: fewer than
    /// `length`, mostly none, where it cannot do that, or something is wrong, which reading and
    /// writing the rest will then name.
    std::uint64_t CopyInSystem(int file, std::uint64_t position, std::uint64_t offset,
                               std::uint64_t length);

    /// As `CStoredRuns::Next`.
    CStored NextStored(std::uint64_t begin, std::uint64_t end) const;
    /// The bytes outlast a power cut.
    void MakeDurable();
    /// The bytes reach the disk, and what is read from now on comes from there.
    void Settle();
    /// Reports what the system noticed no earlier than now.
    void Close();

private:
    [[noreturn]] void Fail(const char* what, int error) const;

    std::string m_name;
    int m_file = -1;
    bool m_isOwner = true;
    bool m_copiesInSystem = true;
    mutable CStoredRuns m_stored;
};

}  // namespace NTool

#endif
