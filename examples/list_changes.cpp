// Lists what changed on a disk between two of its checkpoints, as "OFFSET LENGTH KIND" in bytes,
// and the file that holds it: list_changes OLDER NEWER

#include <algorithm>
#include <iostream>

#include <vhdx_disk/vhdx_disk.h>

const char* KindOf(const NVHDXDisk::CExtent& extent) {
    switch (extent.kind) {
        case NVHDXDisk::CExtent::data:
            return "data";
        case NVHDXDisk::CExtent::zeros:
            return "zeros";
        default:
            return "hole";
    }
}

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: list_changes OLDER NEWER\n";
        return 2;
    }
    NVHDXDisk::CFailure failure;
    const auto disk = NVHDXDisk::CDisk::Open(argv[2], NVHDXDisk::CDiskOptions{}, failure);
    if (disk == nullptr) {
        std::cerr << failure.text << '\n';
        return 1;
    }
    const auto& files = disk->Files();  // newest first
    const auto older = std::find_if(files.begin(), files.end(), [&](const auto& file) {
        return NVHDXDisk::AreSameFile(file.path, argv[1]);
    });
    if (older == files.end()) {
        std::cerr << argv[2] << " does not descend from " << argv[1] << '\n';
        return 1;
    }

    NVHDXDisk::CReader reader(disk);
    const auto print = [&](const NVHDXDisk::CExtent& extent) {
        std::cout << extent.offset << ' ' << extent.length << ' ' << KindOf(extent);
        if (extent.kind != NVHDXDisk::CExtent::hole) {
            std::cout << ' ' << NVHDXDisk::TextOf(files[extent.file].path.filename());
        }
        std::cout << '\n';
        return true;
    };
    const auto since = static_cast<std::size_t>(older - files.begin());
    if (!reader.Changes(since, 0, disk->Size(), print, failure)) {
        std::cerr << failure.text << '\n';
        return 1;
    }
    return 0;
}
