#include "tests/tool/damaged_folders.h"

#include <fstream>
#include <string>

#include "tests/tool/chain_disks.h"

namespace NTest {
namespace {

namespace fs = std::filesystem;

void Write(const fs::path& file, const CImageBuilder& disk) {
    fs::create_directories(file.parent_path());
    disk.Build().WriteTo(file);
}

void WriteText(const fs::path& file, std::size_t length) {
    fs::create_directories(file.parent_path());
    std::ofstream(file) << std::string(length, 'x');
}

void WriteChainBelow(const fs::path& folder) {
    fs::create_directory(folder / "vm");
    WriteChain(folder / "vm");
}

}  // namespace

void WriteForkedChain(const fs::path& folder) {
    WriteChainBelow(folder);
    WriteFork(folder / "vm");
}

void WriteChainWithoutBase(const fs::path& folder) {
    WriteChainBelow(folder);
    fs::remove(folder / "vm" / "disk.vhdx");
}

void WriteChainOnChangedBase(const fs::path& folder) {
    WriteChainBelow(folder);
    Write(folder / "vm" / "disk.vhdx", ChainBase().DataWriteGuid(ChainLinkage('7')));
}

void WriteChainOnText(const fs::path& folder) {
    WriteChainBelow(folder);
    WriteText(folder / "vm" / "disk.vhdx", 1000);
}

void WriteUnlinkedChain(const fs::path& folder) {
    WriteChainBelow(folder);
    Write(folder / "vm" / "first.avhdx",
          ChainFirst().ParentLocator({{u"relative_path", u".\\disk.vhdx"}}));
}

void WriteCircle(const fs::path& folder) {
    Write(folder / "vm" / "a.avhdx", ChildDisk('1', '2', u"b.avhdx"));
    Write(folder / "vm" / "b.avhdx", ChildDisk('2', '1', u"a.avhdx"));
    Write(folder / "vm" / "disk.vhdx", ChainBase());
}

void WriteChainOnBaseElsewhere(const fs::path& folder) {
    WriteChainBelow(folder);
    fs::create_directory(folder / "golden");
    fs::rename(folder / "vm" / "disk.vhdx", folder / "golden" / "disk.vhdx");
    Write(
        folder / "vm" / "first.avhdx",
        ChainFirst().ParentLocator({{u"parent_linkage", u"{5A17C0DE-0000-4000-8000-000000000000}"},
                                    {u"relative_path", u"..\\golden\\disk.vhdx"}}));
}

void WriteMovedChild(const fs::path& folder) {
    Write(
        folder / "vm" / "child.avhdx",
        ChainFirst().ParentLocator({{u"parent_linkage", u"{5A17C0DE-0000-4000-8000-000000000000}"},
                                    {u"relative_path", u"..\\golden\\disk.vhdx"},
                                    {u"absolute_win32_path", u"C:\\golden\\disk.vhdx"}}));
}

void WriteDamagedFolder(const fs::path& folder) {
    Write(folder / "vm" / "a.vhdx", ChainBase());
    Write(folder / "vm" / "b.vhdx", ChainBase().PayloadBlock(3, 5, 0).PayloadBlock(7, 6, 0));
    Write(folder / "vm" / "c.vhdx",
          CImageBuilder().EditHeader(0, [](CHeader& header) { header.checksum = 5; }));
    WriteText(folder / "vm" / "empty.vhdx", 0);
    Write(folder / "vm" / "lost.avhdx", ChildDisk('1', '0', u"gone.vhdx"));
    Write(folder / "vm" / "old" / "e.VHDX",
          CImageBuilder().EditMetadata([](CMetadataTable& table) { table.signature = 0; }));
    WriteText(folder / "vm" / "old" / "notes.txt", 1000);
    WriteText(folder / "vm" / "old" / "text.avhdx", 1000);
}

void WriteFolderOfTexts(const fs::path& folder) {
    WriteText(folder / "vm" / "first.avhdx", 1000);
    WriteText(folder / "vm" / "second.avhdx", 0);
}

void WriteEmptyFolder(const fs::path& folder) {
    fs::create_directory(folder / "vm");
}

}  // namespace NTest
