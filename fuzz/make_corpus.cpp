#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>
#include <string_view>

#include <vhdx_parser/vhdx_parser.h>

#include "fuzz/walk_choice.h"
#include "tests/support/image_builder.h"
#include "tests/support/test_stream.h"

// Writes the seeds of every target below a folder: patches of the disks that the targets build,
// entries, locators and texts that lead far, and the document of a model that the image builder
// made.

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

/// The parts one behind the other.
CBytes Joined(std::initializer_list<CBytes> parts) {
    CBytes joined;
    for (const CBytes& part : parts) {
        joined.insert(joined.end(), part.begin(), part.end());
    }
    return joined;
}

/// A file of the chains in its form, with patches.
CBytes File(unsigned char bits, const CBytes& patches = {}) {
    return Joined({{bits, static_cast<unsigned char>(patches.size())}, patches});
}

/// Reads around the borders of the first blocks, lists the whole disk and its changes.
const CBytes requests = {0, 0, 0, 0, 0, 0, 16, 0, 100, 0, 0, 2, 1, 0, 254, 0, 16, 0,   0,
                         2, 1, 0, 0, 0, 0, 0,  0, 16,  1, 2, 1, 0, 0, 0,   0, 0,  32,  0,
                         0, 3, 1, 0, 0, 0, 48, 0, 1,   0, 1, 3, 0, 0, 0,   0, 0,  240, 1};

void WriteDiskSeeds(const std::filesystem::path& folder) {
    const CBytes block = {6, 8, 0, 8, 6, 0, 0x90, 0, 0, 0, 0, 0};
    const CBytes bitmap = {9, 0, 0, 4, 15, 255, 0, 255};
    const CBytes page = {7, 80, 0, 1, 16};
    const CBytes sectors = {5, 24, 0, 4, 0, 16, 0, 0};
    Write(folder / "small", Joined({{0}, File(0), requests}));
    Write(folder / "pending", Joined({{0}, File(1), requests}));
    Write(folder / "pending_as_it_stands", Joined({{4}, File(1), requests}));
    Write(folder / "two", Joined({{1}, File(0), File(0), requests}));
    Write(folder / "two_pending", Joined({{1}, File(1), File(1), requests}));
    Write(folder / "three", Joined({{2}, File(1), File(0), File(1), requests}));
    Write(folder / "four", Joined({{3}, File(1), File(1), File(1), File(1), requests}));
    Write(folder / "four_found", Joined({{35}, File(0), File(1), File(0), File(0), requests}));
    Write(folder / "alone", Joined({{9}, File(1), File(0), requests}));
    Write(folder / "block_moved", Joined({{1}, File(0, block), File(0), requests}));
    Write(folder / "bitmap_changed", Joined({{1}, File(0, bitmap), File(0, block), requests}));
    Write(folder / "page_moved", Joined({{0}, File(1, page), requests}));
    Write(folder / "sectors_of_4096", Joined({{1}, File(0, sectors), File(0), requests}));
    Write(folder / "cut", Joined({{0}, {16, 100, 0, 9, 0}, requests}));
}

void WriteLogSeeds(const std::filesystem::path& folder) {
    const CBytes first = {0, 1, 0, 10, 3, 20, 2, 10, 70, 0, 0, 2};
    Write(folder / "empty", {0});
    Write(folder / "entry", Joined({{0, 1}, first}));
    Write(folder / "two_entries", Joined({{0, 2}, first, {0, 2, 0, 1, 7, 10}}));
    Write(folder / "round_the_end", {0, 2, 255, 3, 255, 2, 0, 9, 2, 9, 0, 4, 255, 1, 3, 11});
    Write(folder / "two_sequences", {0, 2, 9, 1, 9, 1, 0, 9, 40, 2, 40, 1, 1, 9});
    Write(folder / "tail_behind", {0, 2, 9, 1, 9, 1, 0, 9, 0, 2, 11, 1, 1, 9});
    Write(folder / "cut_off", {0, 1, 0, 1, 0, 8, 255, 0, 0, 0});
    Write(folder / "torn", {4, 1, 0, 1, 0, 1, 0, 9, 8, 200, 0, 1, 77});
    Write(folder / "far_away", {0, 1, 0, 1, 0, 2, 15, 254, 0, 240});
    Write(folder / "no_header", {2, 0, 0, 90, 0, 1, 1, 1, 90, 0, 1, 1});
}

void WriteLocatorSeeds(const std::filesystem::path& folder) {
    Write(folder / "linked", {0, 2, 0, 0, 2, 1});
    Write(folder / "outside", {4, 2, 0, 0, 2, 2});
    Write(folder / "recorded", {5, 3, 0, 0, 3, 4, 4, 7});
    Write(folder / "not_linked", {2, 1, 2, 3});
    Write(folder / "other_folder", {2, 2, 1, 0, 2, 6});
    Write(folder / "itself", {8, 2, 0, 0, 2, 5});
    Write(folder / "letters", {15, 3, 0, 0, 4, 9, 3, 65, 0, 0, 0, 0xD8, 0xFF, 2, 65});
    Write(folder / "patched", {0, 2, 0, 0, 2, 1, 18, 0, 2, 255, 255});
}

void WriteCheckSeeds(const std::filesystem::path& folder) {
    Write(folder / "base", Joined({{0}, File(0)}));
    Write(folder / "pending", Joined({{0}, File(1)}));
    Write(folder / "pending_as_it_stands", Joined({{4}, File(1)}));
    Write(folder / "child", Joined({{1}, File(0)}));
    Write(folder / "child_pending", Joined({{2}, File(1)}));
    Write(folder / "overlap", Joined({{0}, File(0, {6, 8, 0, 8, 6, 0, 0x70, 0, 0, 0, 0, 0})}));
    Write(folder / "region_unsealed", Joined({{0}, File(8, {2, 12, 0, 1, 9})}));
    Write(folder / "cut", {0, 16, 100, 0, 0, 0});
}

void WriteText(const std::filesystem::path& file, unsigned char kind, std::string_view text) {
    Write(file, Joined({{kind}, CBytes(text.begin(), text.end())}));
}

void WriteRangesSeeds(const std::filesystem::path& folder) {
    WriteText(folder / "lines", 0, "0,4096\n65536, 64K\r\n\n1T,1\n");
    WriteText(folder / "elements", 0,
              R"([{"offset": 0, "length": 4096}, {"offset":8192,"length":1}])");
    WriteText(folder / "overlap", 0, "0,10\n5,1\n");
    WriteText(folder / "last", 0, "18446744073709551615,0");
    WriteText(folder / "json", 1,
              R"({"a": [1, -2, 0.5, 1e300, null, true, "\u00e9\ud83d\ude00"], "a": {}})");
    WriteText(folder / "deep", 1, "[[[[[[[[[[1]]]]]]]]]]");
    WriteText(folder / "not_json", 1, "{\"a\": \"\xff\"}");
    Write(folder / "clipped",
          Joined({{2, 10, 0, 0, 0, 0, 0, 0, 0}, {'0', ',', '5', '\n', '8', ',', '5'}}));
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
    WriteDiskSeeds(folder / "disk");
    WriteLogSeeds(folder / "log");
    WriteLocatorSeeds(folder / "locator");
    WriteCheckSeeds(folder / "check");
    WriteRangesSeeds(folder / "ranges");
}
