// Exports against the bytes of the chains' models, and what is left when one does not succeed.

#include <gtest/gtest.h>

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/stat.h>
#endif

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/file_content.h"
#include "tests/tool/exported_chain.h"

namespace NTest {
namespace {

namespace fs = std::filesystem;

/// What a file takes of the disk that it lies on.
std::uint64_t SpaceOf(const fs::path& file) {
#if defined(_WIN32)
    const HANDLE handle = CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    FILE_STANDARD_INFO status{};
    EXPECT_NE(GetFileInformationByHandleEx(handle, FileStandardInfo, &status, sizeof(status)), 0);
    CloseHandle(handle);
    return static_cast<std::uint64_t>(status.AllocationSize.QuadPart);
#else
    struct stat status = {};
    EXPECT_EQ(stat(file.c_str(), &status), 0);
    return static_cast<std::uint64_t>(status.st_blocks) * 512;
#endif
}

// The comparisons do not print both sides: they are megabytes.

TEST_F(Export, GivesWhatTheGuestOfTheChainSees) {
    const CChainModel chain = ThreeFiles();
    chain.WriteTo(m_folder.Path());
    ExpectDone({"2.avhdx", "-o", "disk.raw"});
    EXPECT_TRUE(FileBytes(m_folder / "disk.raw") == chain.Content());
    EXPECT_EQ(Files(), (std::vector<std::string>{"0.vhdx", "1.avhdx", "2.avhdx", "disk.raw"}));
}

TEST_F(Export, GivesEveryByteToStandardOutput) {
    const CChainModel chain = ThreeFiles();
    chain.WriteTo(m_folder.Path());
    const CChildResult result = Run({"2.avhdx", "-o", "-"});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_TRUE(CBytes(result.output.begin(), result.output.end()) == chain.Content());
    EXPECT_EQ(Files(), (std::vector<std::string>{"0.vhdx", "1.avhdx", "2.avhdx"}));
}

TEST_F(Export, RefusesToReadBackFromStandardOutput) {
    ThreeFiles().WriteTo(m_folder.Path());
    const CChildResult verified = Run({"2.avhdx", "-o", "-", "--verify"});
    EXPECT_EQ(verified.status, 2);
    EXPECT_EQ(verified.output, "");
    EXPECT_EQ(
        verified.errors,
        "vhdx: --verify: standard output cannot be read back (vhdx --help shows the usage)\n");
    const CChildResult updated = Run({"2.avhdx", "--update", "-", "--ranges", "none"});
    EXPECT_EQ(updated.status, 2);
    EXPECT_EQ(updated.errors,
              "vhdx: --update: standard output holds no earlier export (vhdx --help shows the "
              "usage)\n");
}

TEST_F(Export, GivesTheStateOfAnyCheckpointOfAFolder) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1);
    chain.AddDisk(CDiskShape()).Present(2, 2);
    const CBytes content = chain.Content();
    chain.AddDisk(CDiskShape()).Present(1, 3);
    chain.WriteTo(m_folder.Path());
    ExpectDone({".", "--disk", "1.avhdx", "-o", "disk.raw"});
    EXPECT_TRUE(FileBytes(m_folder / "disk.raw") == content);
}

TEST_F(Export, GivesDisksOf4096ByteSectorsAndLargerBlocks) {
    CChainModel chain;
    const CDiskShape shape = CDiskShape().Size(9 * MiB).SectorSize(4096).BlockSize(2 * MiB);
    chain.AddDisk(shape).Present(0, 1).Present(4, 2);
    chain.AddDisk(shape).Partial(0, 3, {0, 100, 101, 511}).Partial(2, 4, {5});
    chain.WriteTo(m_folder.Path());
    ExpectDone({"1.avhdx", "-o", "disk.raw", "--verify"});
    EXPECT_TRUE(FileBytes(m_folder / "disk.raw") == chain.Content());
}

/// A disk of 1 TiB with data in one block of 32 MiB.
void WriteLargeDisk(const fs::path& file) {
    CImageBuilder()
        .VirtualSize(1024 * MiB * 1024)
        .BlockSize(32 * MiB)
        .AllocateData(5, CBytes(4096, 1))
        .Build()
        .WriteTo(file);
}

TEST_F(Export, TakesNoSpaceForZeros) {
    WriteLargeDisk(m_folder / "disk.vhdx");
    ExpectDone({"disk.vhdx", "-o", "disk.raw"});
    EXPECT_EQ(fs::file_size(m_folder / "disk.raw"), 1024 * MiB * 1024);
    EXPECT_LE(SpaceOf(m_folder / "disk.raw"), 33 * MiB);
}

#if !defined(_WIN32)
TEST_F(Export, VerifiesAtOnceWhereTheImageHasNothingStored) {
    WriteLargeDisk(m_folder / "disk.vhdx");
    ExpectDone({"disk.vhdx", "-o", "disk.raw", "--verify"});
}
#endif

TEST_F(Export, NeverReplacesAFileUnlessAskedTo) {
    const CChainModel chain = ThreeFiles();
    chain.WriteTo(m_folder.Path());
    std::ofstream(m_folder / "disk.raw") << "older";
    const CChildResult refused = Run({"2.avhdx", "-o", "disk.raw"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.errors, "vhdx: disk.raw: this file exists already (--force replaces it)\n");
    EXPECT_EQ(FileBytes(m_folder / "disk.raw").size(), 5U);
    ExpectDone({"2.avhdx", "-o", "disk.raw", "--force"});
    EXPECT_TRUE(FileBytes(m_folder / "disk.raw") == chain.Content());
    EXPECT_EQ(Files().size(), 4U);
}

TEST_F(Export, NeverReplacesAFileOfTheChain) {
    ThreeFiles().WriteTo(m_folder.Path());
    for (const char* name : {"0.vhdx", "1.avhdx", "2.avhdx"}) {
        const CBytes before = FileBytes(m_folder / name);
        const CChildResult result = Run({"2.avhdx", "-o", name, "--force"});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.errors,
                  std::string("vhdx: ") + name + ": this is the disk file that is read\n");
        EXPECT_TRUE(FileBytes(m_folder / name) == before);
    }
}

#if !defined(_WIN32)
TEST_F(Export, RefusesDevicesAndPipes) {
    ThreeFiles().WriteTo(m_folder.Path());
    const CChildResult result = Run({"2.avhdx", "-o", "/dev/full", "--force"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors,
              "vhdx: /dev/full: only a file can be written, no device and no pipe\n");
}
#endif

TEST_F(Export, WantsToKnowWhichDiskOfAFolder) {
    ThreeFiles().WriteTo(m_folder.Path());
    EXPECT_EQ(Run({".", "-o", "disk.raw"}).errors,
              "vhdx: .: this is a folder; --disk NAME says which of its disks is meant\n");
    EXPECT_EQ(Run({"0.vhdx", "--disk", "1.avhdx", "-o", "disk.raw"}).errors,
              "vhdx: 0.vhdx: this is not a folder, so there is nothing to choose with --disk\n");
    EXPECT_EQ(Run({".", "--disk", "7.avhdx", "-o", "disk.raw"}).errors,
              "vhdx: 7.avhdx: there is no such file\n");
}

TEST_F(Export, OfAChainWithoutItsBaseLeavesNothing) {
    ThreeFiles().WriteTo(m_folder.Path());
    fs::remove(m_folder / "0.vhdx");
    const CChildResult result = Run({"2.avhdx", "-o", "disk.raw"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1) << result.errors;
    EXPECT_NE(result.errors.find("0.vhdx"), std::string::npos) << result.errors;
    EXPECT_EQ(Files(), (std::vector<std::string>{"1.avhdx", "2.avhdx"}));
}

TEST_F(Export, OfADiskThatIsCutOffLeavesNothing) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1).Present(2, 2);
    chain.WriteTo(m_folder.Path());
    fs::resize_file(m_folder / "0.vhdx", chain.Builder().BlockPosition(2) + 4096);
    const CChildResult result = Run({"0.vhdx", "-o", "disk.raw"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "vhdx: 0.vhdx: block 2 claims a place that is not in the file\n");
    EXPECT_EQ(Files(), std::vector<std::string>{"0.vhdx"});
}

TEST_F(Export, ShowsHowFarItIsWhenAskedTo) {
    ThreeFiles().WriteTo(m_folder.Path());
    const CChildResult result = Run({"2.avhdx", "-o", "disk.raw", "--progress", "always"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors.substr(0, 38), "\rexporting   0%  0 bytes of 5.0 MiB\x1B[K");
    EXPECT_EQ(result.errors.substr(result.errors.size() - 4), "\r\x1B[K");
}

}  // namespace
}  // namespace NTest
