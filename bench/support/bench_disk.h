#ifndef VHDX_PARSER_BENCH_SUPPORT_BENCH_DISK_H
#define VHDX_PARSER_BENCH_SUPPORT_BENCH_DISK_H

/// Disk files for benchmarks, in memory where the system offers a file system for that, so that no
/// disk's speed is in the figures.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <vector>

#include <vhdx_parser/vhdx_parser.h>

#include "tests/support/image_builder.h"

namespace NBench {

using CByteBuffer = NVHDX::CDynamicAllocBuffer<unsigned char, unsigned __int64>;

/// A folder that is gone with the program.
class CBenchFolder {
public:
    CBenchFolder();
    ~CBenchFolder();
    CBenchFolder(const CBenchFolder&) = delete;
    CBenchFolder& operator=(const CBenchFolder&) = delete;

    const std::filesystem::path& Path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

/// The one folder of this program.
const std::filesystem::path& BenchFolder();

/// A descriptor of a file, for the baselines.
class CDescriptor {
public:
    explicit CDescriptor(const std::filesystem::path& path);
    ~CDescriptor();
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;

    /// Exactly `count` bytes, or the program ends.
    void Read(void* bytes, std::size_t count, std::uint64_t position) const;
    void Write(const void* bytes, std::size_t count, std::uint64_t position) const;

private:
    int m_descriptor;
};

/// A disk file, opened as a host opens it.
struct CBenchDisk {
    /// Streams that are `unbuffered` have no buffer of their own.
    explicit CBenchDisk(const std::filesystem::path& diskPath, bool unbuffered = false);

    std::filesystem::path path;
    std::basic_fstream<unsigned char> stream;
    NVHDX::CAccessor accessor;
    NVHDX::CBlocks blocks;
    NVHDX::CFileParameters params;

    void Load();
};

/// Writes a disk of 1 MiB blocks and 512-byte sectors whose table has `entryCount` entries: half of
/// the blocks fully present, in no order, the others zero. Only the table is in the file.
std::filesystem::path MakeTableDisk(std::uint64_t entryCount);

/// Writes a disk of 1 MiB blocks of which `blockCount` are present, with data.
std::filesystem::path MakeDataDisk(std::uint64_t blockCount);

}  // namespace NBench

#endif
