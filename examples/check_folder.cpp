// Checks all disks of a folder and of the folders below it, and how they belong together. Ends with
// 1 when something is wrong: check_folder FOLDER

#include <iostream>

#include <vhdx_disk/vhdx_disk.h>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: check_folder FOLDER\n";
        return 2;
    }
    std::size_t wrong = 0;
    const auto print = [&](const NVHDXDisk::CFinding& finding) {
        std::cout << NVHDXDisk::NameOf(finding.severity) << ": "
                  << NVHDXDisk::TextOf(finding.file.filename()) << ": " << finding.place << ": "
                  << finding.text << " (" << finding.kind << ")\n";
        wrong += finding.severity == NVHDXDisk::ESeverity::note ? 0 : 1;
    };

    NVHDXDisk::CFailure failure;
    std::size_t disks = 0;
    if (!NVHDXDisk::CheckFolder(argv[1], NVHDXDisk::ELog::replay, print, disks, failure)) {
        std::cerr << failure.text << '\n';
        return 1;
    }
    std::cout << disks << " disks were read, " << wrong << " findings are no mere notes\n";
    return wrong == 0 ? 0 : 1;
}
