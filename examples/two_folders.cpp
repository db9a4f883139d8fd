// Puts a chain together from files that lie in different folders and tells what each of them holds:
// two_folders BASE CHECKPOINT..., the newest checkpoint first

#include <iostream>
#include <memory>
#include <string>

#include <vhdx_parser/vhdx_parser.h>

// On Windows a host takes wide names, which can name every file.
using CFile = NVHDX::CFileObject<char>;
using CSource = NVHDX::NSnapshotCircuit::CSource<std::shared_ptr<CFile>>;
using CCircuit = NVHDX::NDifferencingVirtualMerge::CFileDataCircuit<char>;
using CFileData = NVHDX::NDifferencingVirtualMerge::CFileData<char>;

std::shared_ptr<CFile> Opened(const std::string& path) {
    auto file = std::make_shared<CFile>();
    if (!file->Open(std::make_shared<std::string>(path))) {
        std::cerr << path << " cannot be opened as a disk\n";
        return nullptr;
    }
    return file;
}

void Print(const CFileData& file) {
    std::uint64_t found = 0;
    for (const NVHDX::CBlockChunk& chunk : file.blocks.chunks) {
        for (std::uint64_t block = 0; block < chunk.getCount(); ++block) {
            found += chunk.GetPayloadBlock(block) != nullptr ? 1 : 0;
        }
    }
    std::cout << *file.path << ": " << found << " blocks with data\n";
}

int main(int argc, char** argv) {
    if (argc < 2) {
        std::cerr << "usage: two_folders BASE CHECKPOINT...\n";
        return 2;
    }
    CSource source;
    source.base = Opened(argv[1]);
    bool opened = source.base != nullptr;
    for (int i = 2; opened && i < argc; ++i) {
        source.snapshots.push_back(Opened(argv[i]));
        opened = source.snapshots.back() != nullptr;
    }
    CCircuit circuit;
    if (!opened || !NVHDX::NDifferencingVirtualMerge::Prepare(circuit, source)) {
        return 1;
    }
    Print(circuit.base);
    for (const CFileData& checkpoint : circuit.differencing) {
        Print(checkpoint);
    }
    return 0;
}
