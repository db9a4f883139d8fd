/// make_chain_disks FOLDER
///
/// Writes a chain of three files with 512 MiB of data: base.vhdx, every block of which is there;
/// middle.avhdx, which has every third block; and newest.avhdx, which has every other 64 KiB of
/// every fifth block. qemu-img cannot make differencing disks of this format.

#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>

#include "tests/support/image_builder.h"

namespace {

using namespace NTest;

constexpr std::uint64_t BlockCount = 512;
constexpr std::uint64_t SectorsPerBlock = 2048;

constexpr const char* BaseLinkage = "{5A17C0DE-0000-4000-8000-000000000010}";
constexpr const char* MiddleLinkage = "{5A17C0DE-0000-4000-8000-000000000011}";
constexpr const char* NewestLinkage = "{5A17C0DE-0000-4000-8000-000000000012}";

CImageBuilder Disk(const std::string& linkage) {
    return CImageBuilder()
        .BlockSize(MiB)
        .VirtualSize(BlockCount * MiB)
        .DataWriteGuid(Guid(linkage));
}

CImageBuilder Child(const std::string& linkage, const std::string& parentLinkage,
                    const char16_t* parent) {
    return Disk(linkage).Differencing().ParentLocator(
        {{u"parent_linkage", std::u16string(parentLinkage.begin(), parentLinkage.end())},
         {u"relative_path", parent}});
}

CImageBuilder Newest() {
    CImageBuilder builder = Child(NewestLinkage, MiddleLinkage, u".\\middle.avhdx");
    // In bytes: a block has 256 of the bitmap, and 64 KiB of the disk have 16.
    CBytes bitmap(MiB);
    for (std::uint64_t block = 0; block < BlockCount; block += 5) {
        builder.AllocatePartialData(block, 3 * BlockCount + block);
        const std::uint64_t first = block * SectorsPerBlock / 8;
        for (std::uint64_t byte = 0; byte < SectorsPerBlock / 8; ++byte) {
            bitmap[first + byte] = byte / 16 % 2 == 0 ? 0xFF : 0;
        }
    }
    return builder.AllocateSectorBitmap(0, bitmap);
}

void WriteChain(const std::filesystem::path& folder) {
    CImageBuilder base = Disk(BaseLinkage);
    CImageBuilder middle = Child(MiddleLinkage, BaseLinkage, u".\\base.vhdx");
    for (std::uint64_t block = 0; block < BlockCount; ++block) {
        base.AllocateData(block, block);
        if (block % 3 == 0) {
            middle.AllocateData(block, BlockCount + block);
        }
    }
    base.Build().WriteTo(folder / "base.vhdx");
    middle.Build().WriteTo(folder / "middle.avhdx");
    Newest().Build().WriteTo(folder / "newest.avhdx");
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        std::fputs("usage: make_chain_disks FOLDER\n", stderr);
        return 2;
    }
    try {
        WriteChain(arguments[1]);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "make_chain_disks: %s\n", error.what());
        return 1;
    }
}
