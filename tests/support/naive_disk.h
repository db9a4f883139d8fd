#ifndef VHDX_PARSER_TESTS_SUPPORT_NAIVE_DISK_H
#define VHDX_PARSER_TESTS_SUPPORT_NAIVE_DISK_H

/// What a guest reads of a chain of files, worked out byte by byte from the description of the
/// format: each answer looks the table and the sector bitmap up anew. Without a line of the
/// libraries.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "tests/support/bytes.h"
#include "tests/support/naive_log.h"

namespace NTest {

/// Where a byte of the disk comes from.
struct CNaivePlace {
    enum EKind {
        data,
        zeros,   ///< a file says so
        hole,    ///< no file says anything
        unknown  ///< a file says what the format does not allow, or names what it does not hold
    };

    EKind kind = unknown;
    std::size_t file = 0;        ///< data and zeros: which one, 0 for the newest
    std::uint64_t position = 0;  ///< data: in the file
    bool fromLog = false;        ///< data: the byte is not that of the file on storage
};

/// One file of the chain.
class CNaiveFile {
public:
    explicit CNaiveFile(CNaiveReplay bytes);

    /// Whether the file has the regions and items that reading needs, and values that are allowed.
    bool IsDisk() const { return m_isDisk; }
    bool HasParent() const { return m_hasParent; }
    std::uint64_t VirtualSize() const { return m_virtualSize; }
    const CNaiveReplay& Bytes() const { return m_bytes; }

    /// What the file says of a byte of the disk; `hole`: nothing. `file` stays 0.
    CNaivePlace PlaceOf(std::uint64_t offset) const;

private:
    bool ReadRegions();
    bool ReadMetadata(std::uint64_t region);
    bool IsGeometry() const;
    std::optional<std::uint64_t> TableWord(std::uint64_t entry) const;
    CNaivePlace PartialPlace(std::uint64_t offset, std::uint64_t position) const;

    CNaiveReplay m_bytes;
    bool m_isDisk = false;
    std::uint64_t m_table = 0;
    std::uint64_t m_tableLength = 0;
    std::uint64_t m_blockSize = 0;
    std::uint64_t m_sectorSize = 0;
    std::uint64_t m_virtualSize = 0;
    bool m_hasParent = false;
};

class CNaiveDisk {
public:
    using CFiles = std::vector<std::shared_ptr<const CNaiveFile>>;

    /// The files newest first, of which those count that a file names as its parent.
    /// `withParents` false: the newest alone.
    explicit CNaiveDisk(CFiles newestFirst, bool withParents = true);

    /// Whether all files are disks, their logs are in place, and the last one has no parent.
    bool IsWhole() const { return m_isWhole; }
    std::uint64_t Size() const { return m_files.front()->VirtualSize(); }
    const CFiles& Files() const { return m_files; }

    CNaivePlace PlaceOf(std::uint64_t offset) const;
    /// Up to here every byte from `offset` on comes from a place of the same kind, one behind the
    /// other. The next byte's may do so too.
    std::uint64_t StepEnd(std::uint64_t offset) const;

    /// False where the range is not inside the disk or a place is unknown.
    bool Read(std::uint64_t offset, std::span<unsigned char> bytes) const;

private:
    CFiles m_files;
    bool m_isWhole = false;
};

}  // namespace NTest

#endif
