#ifndef VHDX_TOOLS_VHDX_IMAGE_FILE_H
#define VHDX_TOOLS_VHDX_IMAGE_FILE_H

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

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

    /// Copies bytes of another file, in the system where it can do that.
    void CopyFrom(const CImageFile& source, std::uint64_t position, std::uint64_t offset,
                  std::uint64_t length);

    /// A run [begin, end) of bytes that the file has stored; what lies before it are zeros.
    struct CStored {
        std::uint64_t begin;
        std::uint64_t end;
    };
    /// The first run in [begin, end); empty, at `end`, when there is none. All where the system
    /// cannot tell.
    CStored NextStored(std::uint64_t begin, std::uint64_t end) const;

    /// The bytes outlast a power cut.
    void MakeDurable();
    /// The bytes reach the disk, and what is read from now on comes from there.
    void Settle();
    /// Reports what the system noticed no earlier than now.
    void Close();

private:
    /// Bytes [begin, run.begin) are a hole, and those of the run are stored.
    struct CKnown {
        std::uint64_t begin = 0;
        CStored run = {0, 0};
    };

    CKnown Look(std::uint64_t begin) const;
    bool CopyInSystem(const CImageFile& source, std::uint64_t position, std::uint64_t offset,
                      std::uint64_t length, std::uint64_t& done);
    [[noreturn]] void Fail(const char* what, int error) const;

    std::string m_name;
    int m_file = -1;
    bool m_isOwner = true;
    bool m_copiesInSystem = true;
    mutable CKnown m_known;  ///< what the system said last; to ask is slow for long runs
};

}  // namespace NTool

#endif
