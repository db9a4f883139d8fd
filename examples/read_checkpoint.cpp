// Reads a range of a checkpoint as its guest sees it, through all of its parents:
// read_checkpoint CHECKPOINT OFFSET LENGTH OUTPUT

#include <algorithm>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include <vhdx_disk/vhdx_disk.h>

bool Copy(const std::shared_ptr<const NVHDXDisk::CDisk>& disk, std::uint64_t offset,
          std::uint64_t length, std::ostream& output, NVHDXDisk::CFailure& failure) {
    NVHDXDisk::CReader reader(disk);  // every thread has its own
    std::vector<unsigned char> bytes(1024 * 1024);
    while (length != 0) {
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(length, bytes.size()));
        if (!reader.Read(offset, bytes.data(), count, failure)) {
            return false;
        }
        output.write(reinterpret_cast<const char*>(bytes.data()),
                     static_cast<std::streamsize>(count));
        offset += count;
        length -= count;
    }
    return true;
}

int main(int argc, char** argv) {
    if (argc != 5) {
        std::cerr << "usage: read_checkpoint CHECKPOINT OFFSET LENGTH OUTPUT\n";
        return 2;
    }
    NVHDXDisk::CFailure failure;
    const auto disk = NVHDXDisk::CDisk::Open(argv[1], NVHDXDisk::CDiskOptions{}, failure);
    if (disk == nullptr) {
        std::cerr << failure.text << '\n';
        return 1;
    }
    for (const NVHDXDisk::CDiskFile& file : disk->Files()) {
        std::cerr << NVHDXDisk::TextOf(file.path.filename()) << '\n';
    }

    std::ofstream output(argv[4], std::ios::binary);
    if (!Copy(disk, std::stoull(argv[2]), std::stoull(argv[3]), output, failure)) {
        std::cerr << failure.text << '\n';
        return 1;
    }
    if (!output.flush()) {
        std::cerr << argv[4] << " cannot be written\n";
        return 1;
    }
    return 0;
}
