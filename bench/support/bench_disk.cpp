#include "bench/support/bench_disk.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

namespace NBench {

namespace {

[[noreturn]] void Stop(const std::string& reason) {
    std::fprintf(stderr, "benchmark: %s\n", reason.c_str());
    std::exit(1);
}

std::filesystem::path MemoryFolder() {
    const std::filesystem::path memory = "/dev/shm";
    return std::filesystem::is_directory(memory) ? memory : std::filesystem::temp_directory_path();
}

constexpr std::uint64_t BlocksPerChunk = 4096;
constexpr unsigned FullyPresent = 6;
constexpr unsigned Zero = 2;

NTest::CBytes RandomTable(std::uint64_t entryCount) {
    std::mt19937_64 random(1);
    NTest::CBytes table(entryCount * 8);
    for (std::uint64_t entry = 0; entry < entryCount; ++entry) {
        const std::uint64_t number = random();
        const bool isPresent = (number & 1) != 0;
        NTest::Put64(table, entry * 8, isPresent ? (number >> 24 << 20 | FullyPresent) : Zero);
    }
    return table;
}

}  // namespace

CBenchFolder::CBenchFolder()
    : m_path(MemoryFolder() / ("vhdx_parser_bench." + std::to_string(::getpid()))) {
    std::filesystem::create_directories(m_path);
}

CBenchFolder::~CBenchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

const std::filesystem::path& BenchFolder() {
    static const CBenchFolder folder;
    return folder.Path();
}

CDescriptor::CDescriptor(const std::filesystem::path& path)
    : m_descriptor(::open(path.c_str(), O_RDWR)) {
    if (m_descriptor < 0) {
        Stop("cannot open " + path.string());
    }
}

CDescriptor::~CDescriptor() {
    ::close(m_descriptor);
}

void CDescriptor::Read(void* bytes, std::size_t count, std::uint64_t position) const {
    if (::pread(m_descriptor, bytes, count, static_cast<off_t>(position)) !=
        static_cast<ssize_t>(count)) {
        Stop("short read");
    }
}

void CDescriptor::Write(const void* bytes, std::size_t count, std::uint64_t position) const {
    if (::pwrite(m_descriptor, bytes, count, static_cast<off_t>(position)) !=
        static_cast<ssize_t>(count)) {
        Stop("short write");
    }
}

CBenchDisk::CBenchDisk(const std::filesystem::path& diskPath, bool unbuffered) : path(diskPath) {
    NByteStream::Imbue(stream);
    if (unbuffered) {
        stream.rdbuf()->pubsetbuf(nullptr, 0);
    }
    stream.open(path, std::ios::in | std::ios::out | std::ios::binary);
    if (!accessor.Entry(stream)) {
        Stop("not a disk: " + path.string());
    }
}

void CBenchDisk::Load() {
    if (!accessor.LoadBlocks(blocks, params, stream)) {
        Stop("no table: " + path.string());
    }
}

std::filesystem::path MakeTableDisk(std::uint64_t entryCount) {
    const std::filesystem::path path =
        BenchFolder() / ("table" + std::to_string(entryCount) + ".vhdx");
    if (!std::filesystem::exists(path)) {
        // One sector bitmap entry after every chunk but the last.
        const std::uint64_t bitmapEntries = (entryCount - 1) / (BlocksPerChunk + 1);
        NTest::CImageBuilder builder;
        builder.BlockSize(NTest::MiB).VirtualSize((entryCount - bitmapEntries) * NTest::MiB);
        builder.Bytes(builder.BatPosition(), RandomTable(entryCount));
        builder.Build().WriteTo(path);
    }
    return path;
}

std::filesystem::path MakeDataDisk(std::uint64_t blockCount) {
    const std::filesystem::path path =
        BenchFolder() / ("data" + std::to_string(blockCount) + ".vhdx");
    if (!std::filesystem::exists(path)) {
        NTest::CImageBuilder builder;
        builder.BlockSize(NTest::MiB).VirtualSize(blockCount * NTest::MiB);
        for (std::uint64_t block = 0; block < blockCount; ++block) {
            builder.AllocateData(block, 1);
        }
        builder.Build().WriteTo(path);
    }
    return path;
}

}  // namespace NBench
