// Files and circumstances that a command refuses: status 1 and one line that says why.

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <sys/stat.h>
#endif

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"
#include "tests/tool/test_disks.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

class Refusal : public testing::Test {
protected:
    void Expect(const std::vector<std::string>& arguments, const std::string& line) const {
        const CChildResult result = RunVhdxIn(m_folder.Path(), arguments);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "vhdx: " + line + "\n");
    }

    void ExpectOfDisk(const CImageBuilder& builder, const std::string& reason,
                      const std::string& command = "map") const {
        builder.Build().WriteTo(m_folder / "disk.vhdx");
        Expect({command, "disk.vhdx"}, "disk.vhdx: " + reason);
    }

    CTemporaryFolder m_folder;
};

TEST_F(Refusal, OfAFileThatIsNotThere) {
    Expect({"info", "none.vhdx"}, "none.vhdx: there is no such file");
    Expect({"info", ""}, ": there is no such file");
}

TEST_F(Refusal, OfAFolder) {
    Expect({"map", "."}, ".: this is a folder, not a disk file");
}

TEST_F(Refusal, OfAFolderByEveryCommandThatTakesAFile) {
    std::filesystem::create_directory(m_folder / "folder.vhdx");
    std::ofstream(m_folder / "ranges.txt") << "0,512\n";
    const std::vector<std::vector<std::string>> commands = {
        {"info"},
        {"map"},
        {"read", "--file-only"},
        {"locate", "--offset", "0", "--length", "1"},
        {"changes", "--ranges", "ranges.txt"},
        {"bitmap", "--chunk", "0", "--position"},
        {"save", "--no-replay"}};
    for (std::vector<std::string> arguments : commands) {
        arguments.insert(arguments.begin() + 1, "folder.vhdx");
        if (arguments[0] == "save") {
            arguments.push_back("model.xml");
        }
        Expect(arguments, "folder.vhdx: this is a folder, not a disk file");
    }
}

TEST_F(Refusal, OfAFolderWithoutTheNameOfItsDisk) {
    std::filesystem::create_directory(m_folder / "folder.vhdx");
    const std::string line =
        "folder.vhdx: this is a folder; --disk NAME says which of its disks is meant";
    Expect({"map", "--merged", "folder.vhdx"}, line);
    Expect({"read", "folder.vhdx"}, line);
    Expect({"export", "folder.vhdx", "-o", "disk.raw"}, line);
}

TEST_F(Refusal, OfAFileByEveryCommandThatTakesAFolder) {
    DynamicDisk().Build().WriteTo(m_folder / "disk.vhdx");
    Expect({"chain", "disk.vhdx"}, "disk.vhdx: this is not a folder");
    Expect({"diff", "disk.vhdx", "--library"}, "disk.vhdx: this is not a folder");
}

#if !defined(_WIN32)
TEST_F(Refusal, OfAPipeWithoutWaitingForItsWriter) {
    ASSERT_EQ(mkfifo((m_folder / "pipe").c_str(), 0600), 0);
    Expect({"info", "pipe"}, "pipe: this is not a file with a size, but a pipe, socket or device");
}
#endif

#if !defined(_WIN32)
TEST_F(Refusal, OfADevice) {
    Expect({"info", "/dev/zero"},
           "/dev/zero: this is not a file with a size, but a pipe, socket or device");
}
#endif

TEST_F(Refusal, OfAnEmptyFileAndOfAnotherKindOfFile) {
    std::ofstream(m_folder / "empty.vhdx").flush();
    const std::string reason = "this is no VHDX disk: the file does not begin with \"vhdxfile\"";
    Expect({"info", "empty.vhdx"}, "empty.vhdx: " + reason);
    std::ofstream(m_folder / "text.vhdx") << std::string(2000, 'x');
    Expect({"info", "text.vhdx"}, "text.vhdx: " + reason);
}

TEST_F(Refusal, OfADamagedDisk) {
    ExpectOfDisk(CImageBuilder().EditHeaders([](CHeader& header) { header.signature = 0; }),
                 "the disk is damaged: its headers, the place of its log, its region table or its "
                 "metadata table cannot be read");
}

TEST_F(Refusal, OfADiskWithoutAGeometry) {
    const std::vector<std::pair<CGuid, std::string>> items = {
        {NGuid::fileParameters, "file parameters"},
        {NGuid::virtualDiskSize, "size of the virtual disk"},
        {NGuid::logicalSectorSize, "logical sector size"}};
    for (const auto& [item, name] : items) {
        ExpectOfDisk(CImageBuilder().EditMetadata(
                         [&item = item](CMetadataTable& table) { table.Remove(item); }),
                     "the metadata have no " + name + " that can be read");
    }
}

TEST_F(Refusal, GivesTheReasonThatTheLibraryTraced) {
    ExpectOfDisk(CImageBuilder().EditMetadata(
                     [](CMetadataTable& table) { table.Remove(NGuid::page83Data); }),
                 "PAGE_83_DATA_METADATA bad MetadataPosition", "info");
    ExpectOfDisk(CImageBuilder().Differencing().ParentLocator({{u"strange", u"value"}}),
                 "PARENT_METADATA bad format", "info");
}

TEST_F(Refusal, HasAReasonWhereTheLibraryTracesNone) {
    const std::string badTable =
        "the block allocation table is too short, cannot be read or has an impossible entry";
    ExpectOfDisk(CImageBuilder().PayloadBlock(3, 5, 0), badTable);
    ExpectOfDisk(CImageBuilder().BatLength(8), badTable);
    ExpectOfDisk(
        CImageBuilder()
            .EditParentLocator([](CParentLocator& locator) { locator.entries[0].keyLength = 29; })
            .Differencing(),
        "a metadata item cannot be read", "info");
}

CBytes FileParameters(std::uint32_t blockSize) {
    CBytes bytes(8);
    Put32(bytes, 0, blockSize);
    return bytes;
}

TEST_F(Refusal, OfAGeometryThatNoDiskCanHave) {
    ExpectOfDisk(CImageBuilder().MetadataItem(NGuid::fileParameters, FileParameters(0)),
                 "no disk can have blocks of 0 bytes", "info");
    ExpectOfDisk(CImageBuilder().BlockSize(65536).VirtualSize(2 * MiB),
                 "no disk can have blocks of 65536 bytes");
    CBytes sectorSize(4);
    Put32(sectorSize, 0, 0);
    ExpectOfDisk(CImageBuilder().MetadataItem(NGuid::logicalSectorSize, sectorSize),
                 "no disk can have sectors of 0 bytes");
}

TEST_F(Refusal, OfADiskWithMoreBlocksThanATableCanCount) {
    CBytes size(8);
    Put64(size, 0, (std::uint64_t{1} << 52) + MiB);  // the number of blocks wraps to 1
    ExpectOfDisk(CImageBuilder().MetadataItem(NGuid::virtualDiskSize, size),
                 "no disk can have 4503599628419072 bytes");
}

TEST_F(Refusal, OfARangePastTheEndOfTheDisk) {
    DynamicDisk().Build().WriteTo(m_folder / "disk.vhdx");
    const std::string size = "ends past the end of the disk, which has 10485248 bytes";
    for (const char* command : {"read", "locate"}) {
        Expect({command, "disk.vhdx", "--offset", "0", "--length", "10M"},
               "disk.vhdx: the range of 10485760 bytes from 0 " + size);
        Expect({command, "disk.vhdx", "--offset", "10485249", "--length", "0"},
               "disk.vhdx: the range of 0 bytes from 10485249 " + size);
        Expect({command, "disk.vhdx", "--offset", "1", "--length", "18446744073709551615"},
               "disk.vhdx: the range of 18446744073709551615 bytes from 1 " + size);
    }
}

TEST_F(Refusal, OfDataThatTheFileDoesNotHold) {
    const CImageBuilder disk = DynamicDisk();
    disk.Build().WriteTo(m_folder / "disk.vhdx");
    std::filesystem::resize_file(m_folder / "disk.vhdx", disk.BlockPosition(4) + 512);
    Expect({"read", "disk.vhdx", "--offset", "4M", "--length", "1M"},
           "disk.vhdx: block 4 claims a place that is not in the file");
}

#if !defined(_WIN32)
TEST_F(Refusal, DoesNotRepeatControlCharactersOfAFileName) {
    Expect({"info", "a\x1B[31m\n.vhdx"}, "a\\u{1B}[31m\\u{A}.vhdx: there is no such file");
}
#endif

TEST_F(Refusal, OfAClosedPipeIsQuiet) {
    DynamicDisk().Build().WriteTo(m_folder / "disk.vhdx");
    const std::string disk = (m_folder / "disk.vhdx").string();
    CChildOptions options;
    options.closeOutput = true;
    const std::vector<std::vector<std::string>> commands = {
        {"info", disk},
        {"info", "--json", disk},
        {"map", disk},
        {"map", "--merged", disk},
        {"map", "--sectors", disk},
        {"read", "--merged", disk, "--offset", "0", "--length", "9M"},
        {"chain", m_folder.Narrow()},
        {"diff", m_folder.Narrow()},
        {"locate", disk, "--offset", "0", "--length", "9M"},
        {"read", "--file-only", disk, "--offset", "0", "--length", "9M"},
        {"--help"}};
    for (const std::vector<std::string>& arguments : commands) {
        const CChildResult result = RunVhdx(arguments, options);
        EXPECT_EQ(result.status, 1) << arguments[0];
        EXPECT_EQ(result.errors, "");
    }
    const CChildResult check = RunVhdx({"check", disk}, options);
    EXPECT_EQ(check.status, 2);
    EXPECT_EQ(check.errors, "");
}

#if !defined(_WIN32)
TEST_F(Refusal, OfAFullDiskBehindStandardOutput) {
    DynamicDisk().Build().WriteTo(m_folder / "disk.vhdx");
    const std::string disk = (m_folder / "disk.vhdx").string();
    CChildOptions options;
    options.outputFile = "/dev/full";
    const CChildResult result = RunVhdx({"map", disk}, options);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "vhdx: standard output: cannot be written: No space left on device\n");
}
#endif

}  // namespace
}  // namespace NTest
