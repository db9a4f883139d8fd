#include <filesystem>
#include <fstream>
#include <string>

#include <vhdx_parser/vhdx_parser.h>

#include "fuzz/walk_choice.h"
#include "tests/support/image_builder.h"
#include "tests/support/test_stream.h"

// Writes the seeds of every target below a folder: patches of the disks that the targets build, and
// the document of a model that the image builder made.

namespace {

using NTest::CBytes;

void Write(const std::filesystem::path& file, const CBytes& bytes) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary);
    for (const unsigned char byte : bytes) {
        stream.put(static_cast<char>(byte));
    }
}

void WriteContainerSeeds(const std::filesystem::path& folder) {
    Write(folder / "base", {0});
    Write(folder / "differencing", {1});
    Write(folder / "cut", {2, 0, 0, 32});
    Write(folder / "log_at_all_ones", {0, 0, 72, 0, 8, 255, 255, 255, 255, 255, 255, 255, 255});
    Write(folder / "region_count", {0, 2, 8, 0, 4, 255, 255, 255, 255});
    Write(folder / "item_count", {0, 3, 10, 0, 2, 255, 255});
    Write(folder / "block_size_0", {1, 4, 0, 0, 4, 0, 0, 0, 0});
    Write(folder / "differencing_of_size_0", {1, 4, 8, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0});
    Write(folder / "bat_states", {1, 5, 0, 0, 9, 6, 0, 64, 0, 0, 0, 0, 0, 7});
}

void WriteAccessSeeds(const std::filesystem::path& folder) {
    Write(folder / "requests",
          {0, 16, 1, 4, 2, 2, 3, 1, 5, 2, 6, 0, 1, 2, 0,  2,  3, 5, 2, 1, 64, 0, 0, 0, 8,
           0, 0,  1, 0, 8, 1, 0, 0, 1, 0, 2, 0, 0, 0, 32, 67, 0, 0, 0, 0, 4,  0, 0, 0, 64});
    Write(folder / "ratio_0", {0, 16, 0, 0, 1, 0, 1, 0, 5, 65, 0, 0, 1, 0});
    Write(folder / "block_size_0", {0, 0, 0, 4, 1, 0, 1, 0, 5, 64, 0, 0, 1, 0});
}

void WriteChainSeeds(const std::filesystem::path& folder) {
    Write(folder / "two", {0, 0, 0, 0, 0, 80, 0, 0, 16});
    Write(folder / "three", {1, 0, 0, 0, 0, 0, 80, 0, 0, 16});
    Write(folder / "four", {2, 0, 0, 0, 0, 0, 0, 80, 0, 0, 16});
    CBytes compared = {0, 0, 0, 0, 0, 80, 0, 0, 16, 0, 0};
    while (!NFuzz::IsWorthTheWalk(compared.data(), compared.size())) {
        compared[9] = static_cast<unsigned char>(compared[9] + 1);
        compared[10] = static_cast<unsigned char>(compared[10] + (compared[9] == 0 ? 1 : 0));
    }
    Write(folder / "compared", compared);
    Write(folder / "bitmap", {0, 0, 8, 7, 0, 0, 4, 255, 0, 255, 1, 0, 0, 80, 0, 0, 16});
    Write(folder / "blocks_in_the_child", {0, 0, 13, 5, 0, 0, 9, 6, 0, 80, 0, 0, 0, 0, 0, 6});
}

void WriteXmlSeeds(const std::filesystem::path& folder) {
    NTest::CInputStream stream(NTest::CImageBuilder()
                                   .SectorSize(2)
                                   .Differencing()
                                   .AllocateSectorBitmap(0, CBytes{1})
                                   .PayloadBlock(0, 6, 5)
                                   .Build());
    NVHDX::CAccessor accessor;
    NVHDX::CBlocks blocks;
    NVHDX::CFileParameters params;
    if (accessor.Entry(stream) && accessor.LoadBlocks(blocks, params, stream)) {
        std::filesystem::create_directories(folder);
        NVHDX::VHDXMetadataSerialize((folder / "model.xml").wstring(), blocks, params);
    }
    Write(folder / "empty", {});
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        return 2;
    }
    const std::filesystem::path folder = argv[1];
    WriteContainerSeeds(folder / "container");
    WriteAccessSeeds(folder / "access");
    WriteChainSeeds(folder / "chain");
    WriteXmlSeeds(folder / "xml");
}
