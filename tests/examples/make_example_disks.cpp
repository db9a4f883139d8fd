// Writes the disks on which the examples run, and beside them what is known of their content:
//
//   pending.vhdx  a disk of 4 MiB whose log holds a page that is not in place; pending.raw, its
//   bytes vm            a base and two checkpoints; second.raw, the newest one as its guest sees it
//
// The bytes are put together by hand, without the libraries.

#include <algorithm>
#include <exception>
#include <filesystem>
#include <iostream>

#include "tests/support/content_pattern.h"
#include "tests/support/log_builder.h"
#include "tests/tool/chain_disks.h"

namespace NTest {
namespace {

void WriteFile(const std::filesystem::path& path, const CBytes& bytes) {
    CSparseImage image;
    image.Write(0, bytes);
    image.WriteTo(path);
}

/// The page of the log goes into the second block of the disk.
void WritePending(const std::filesystem::path& folder) {
    CImageBuilder disk;
    disk.VirtualSize(4 * MiB).AllocateData(1, 7);
    CLogEntryBuilder entry(3);
    entry.Page(disk.BlockPosition(1) + 8192, Pattern(9, 0, 4096)).FileOffsets(5 * MiB, 5 * MiB);
    CLogImage log;
    log.Put(0, entry.Bytes());
    disk.LogAt(logGuid, MiB, 1048576).Bytes(MiB, log.Bytes());
    disk.Build().WriteTo(folder / "pending.vhdx");

    CBytes raw(4 * MiB, 0);
    PutBytes(raw, MiB, Pattern(7, MiB, MiB));
    PutBytes(raw, MiB + 8192, Pattern(9, 0, 4096));
    WriteFile(folder / "pending.raw", raw);
}

/// The files of a checkpoint hold, of block 5, sectors of 512 bytes as their bitmaps say.
void WriteCheckpoints(const std::filesystem::path& folder) {
    std::filesystem::create_directories(folder / "vm");
    WriteChain(folder / "vm");

    CBytes raw(8 * MiB, 0);
    const auto put = [&raw](std::uint64_t seed, std::uint64_t offset, std::size_t length) {
        PutBytes(raw, offset, Pattern(seed, offset, length));
    };
    put(31, 0, MiB);
    put(32, MiB, MiB);
    put(31, 5 * MiB, MiB);
    put(32, 5 * MiB, 8192);
    put(33, 5 * MiB + 4096, 8192);
    put(33, 6 * MiB, MiB);
    WriteFile(folder / "second.raw", raw);
}

}  // namespace
}  // namespace NTest

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: make_example_disks FOLDER\n";
        return 2;
    }
    try {
        NTest::WritePending(argv[1]);
        NTest::WriteCheckpoints(argv[1]);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "make_example_disks: " << error.what() << '\n';
        return 1;
    }
}
