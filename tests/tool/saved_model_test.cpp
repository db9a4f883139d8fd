// vhdx save, and --model of the commands that need the blocks of a disk.

#include "tools/vhdx/saved_model.h"

#include <filesystem>
#include <string>
#include <vector>

#include "tests/tool/chain_disks.h"
#include "tests/tool/saved_model.h"
#include "tests/tool/test_disks.h"

namespace NTest {
namespace {

using CArguments = std::vector<std::string>;

class SavedModel : public CSavedModelTest {
protected:
    /// Changes the saved model.
    void Replace(const std::string& from, const std::string& to) const {
        std::string text = Content("model.xml");
        const std::size_t place = text.find(from);
        ASSERT_NE(place, std::string::npos);
        std::ofstream(m_folder / "model.xml", std::ios::binary)
            << text.replace(place, from.size(), to);
    }
};

/// The document is text and ends its line as the platform does.
#if defined(_WIN32)
#define LINE_END "\r\n"
#else
#define LINE_END "\n"
#endif

TEST_F(SavedModel, IsXml) {
    Save(CImageBuilder().VirtualSize(2 * MiB).AllocateData(1, 1));
    EXPECT_EQ(Content("model.xml"),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>" LINE_END
              "<metadata><fileparams><payloadblksz>1048576</payloadblksz><logsectsz>512</logsectsz>"
              "<virtdisksz>2097152</virtdisksz><maxFileOffset>5242880</maxFileOffset>"
              "<lastPayloadBlockIndex>1</lastPayloadBlockIndex>"
              "<requestNewBlockOffset>true</requestNewBlockOffset>"
              "<bDifferencing>false</bDifferencing></fileparams>"
              "<blocks><ratio>4096</ratio><chunks><chunk><payloadBlocks>"
              "<payloadBlock><state>1</state><offset>0</offset></payloadBlock>"
              "<payloadBlock><state>5</state><offset>4</offset></payloadBlock></payloadBlocks>"
              "<sectorBitmapOffset>18446744073709551615</sectorBitmapOffset>"
              "<sectorBitmapState>-1</sectorBitmapState><noSectorBitmap>true</noSectorBitmap>"
              "</chunk></chunks></blocks></metadata>");
}

TEST_F(SavedModel, TakesThePlaceOfTheTableInEveryCommandThatNeedsIt) {
    std::ofstream(m_folder / "ranges.txt") << "0,512\n1M,3M\n";
    const std::vector<CArguments> commands = {
        {"map", "disk.vhdx"},
        {"read", "disk.vhdx", "--file-only", "--offset", "512K", "--length", "3M"},
        {"locate", "disk.vhdx", "--offset", "512K", "--length", "3M"},
        {"changes", "disk.vhdx", "--ranges", "ranges.txt"}};
    for (const CImageBuilder& disk : {DynamicDisk(), DifferencingDisk()}) {
        Save(disk);
        for (CArguments arguments : commands) {
            PutInPlace(disk);
            const CChildResult expected = Run(arguments);
            ASSERT_EQ(expected.status, 0) << expected.errors;
            // A table that cannot be read any more shows that it is not read.
            PutInPlace(CImageBuilder(disk).BatLength(8));
            ASSERT_EQ(Run(arguments).status, 1);
            arguments.insert(arguments.end(), {"--model", "model.xml"});
            const CChildResult result = Run(arguments);
            EXPECT_EQ(result.status, 0) << result.errors;
            EXPECT_TRUE(result.output == expected.output) << arguments[0];
        }
    }
}

TEST_F(SavedModel, ReplacesAnOlderOneWhenItIsComplete) {
    Save(DynamicDisk());
    const std::string model = Content("model.xml");
    std::ofstream(m_folder / "model.xml") << "older";
    DynamicDisk().BatLength(8).Build().WriteTo(m_folder / "disk.vhdx");
    EXPECT_EQ(Run({"save", "disk.vhdx", "model.xml"}).status, 1);
    EXPECT_EQ(Content("model.xml"), "older");
    Save(DynamicDisk());
    EXPECT_EQ(Content("model.xml"), model);
}

TEST_F(SavedModel, IsNotWrittenOverTheDisk) {
    DynamicDisk().Build().WriteTo(m_folder / "disk.vhdx");
    const CChildResult result = Run({"save", "disk.vhdx", "disk.vhdx"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "vhdx: disk.vhdx: this is the disk file that is read\n");
}

TEST_F(SavedModel, IsOfADiskOfTheSameGeometry) {
    Save(DynamicDisk());
    DynamicDisk().VirtualSize(10 * MiB).Build().WriteTo(m_folder / "disk.vhdx");
    ExpectRefusal(
        "the model is not of this disk: its virtual size is 10485248, the disk's is 10485760");
    DynamicDisk().BlockSize(2 * MiB).Build().WriteTo(m_folder / "disk.vhdx");
    ExpectRefusal(
        "the model is not of this disk: its block size is 1048576, the disk's is 2097152");
    DynamicDisk().SectorSize(4096).Build().WriteTo(m_folder / "disk.vhdx");
    ExpectRefusal(
        "the model is not of this disk: its logical sector size is 512, the disk's is 4096");
}

TEST_F(SavedModel, IsOfADiskThatAlsoHasAParentOrAlsoHasNone) {
    Save(ChainFirst());
    ChainBase().Build().WriteTo(m_folder / "disk.vhdx");
    ExpectRefusal("the model is not of this disk: it is of one with a parent");
    Save(ChainBase());
    ChainFirst().Build().WriteTo(m_folder / "disk.vhdx");
    ExpectRefusal("the model is not of this disk: it is of one without parent");
}

TEST_F(SavedModel, CoversTheWholeDisk) {
    Save(DynamicDisk());
    Replace("<payloadBlock><state>1</state><offset>0</offset></payloadBlock>", "");
    ExpectRefusal("the model does not cover the disk: it has too few or misplaced blocks");
}

TEST_F(SavedModel, HasNoBlocksThatWouldReadTheStartOfTheFile) {
    Save(DynamicDisk());
    Replace("<state>5</state><offset>4</offset>", "<state>5</state><offset>4294967296</offset>");
    ExpectRefusal("the model has no usable entry for block 1");
    Replace("<state>5</state><offset>4294967296</offset>", "<state>5</state><offset>-1</offset>");
    ExpectRefusal("the model has no usable entry for block 1");
    Replace("<state>5</state><offset>-1</offset>", "<state>9</state><offset>4</offset>");
    ExpectRefusal("the model has no usable entry for block 1");
}

TEST_F(SavedModel, CannotHoldPlacesOfMoreThan31Bits) {
    CImageBuilder()
        .VirtualSize(MiB)
        .PayloadBlock(0, 6, 0x80000000)
        .Build()
        .WriteTo(m_folder / "disk.vhdx");
    const CChildResult result = Run({"save", "disk.vhdx", "model.xml"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors,
              "vhdx: disk.vhdx: block 0 lies at 2147483648 MiB in the file, and "
              "a saved model keeps places below 2147483648 MiB only\n");
    EXPECT_FALSE(std::filesystem::exists(m_folder / "model.xml"));
    CImageBuilder()
        .VirtualSize(MiB)
        .PayloadBlock(0, 6, 0x7FFFFFFF)
        .Build()
        .WriteTo(m_folder / "disk.vhdx");
    EXPECT_EQ(Run({"save", "disk.vhdx", "model.xml"}).status, 0);
}

TEST_F(SavedModel, IsRefusedInOneLineWhenItIsNone) {
    DynamicDisk().Build().WriteTo(m_folder / "disk.vhdx");
    ExpectRefusal("there is no such file");
    const auto write = [this](const std::string& text) {
        std::ofstream(m_folder / "model.xml") << text;
    };
    write("<a>\n<b>");
    ExpectRefusal("this is not a saved model of a disk: line 2: unexpected end of data");
    write("<a/>");
    ExpectRefusal("this is not a saved model of a disk: No such node (metadata.fileparams)");
    Save(DynamicDisk());
    Replace("<ratio>4096</ratio>", "<ratio>many</ratio>");
    ExpectRefusal(
        "this is not a saved model of a disk: the value of \"metadata.blocks.ratio\" does not "
        "convert");
    EXPECT_EQ(Run({"map", "disk.vhdx", "--model", "."}).errors,
              "vhdx: .: this is a folder, not a saved model\n");
}

#if !defined(_WIN32)
TEST_F(SavedModel, MayHaveANameBeyondAscii) {
    DynamicDisk().Build().WriteTo(m_folder / "disk.vhdx");
    std::filesystem::create_directory(m_folder /
                                      "m\xC3\xBC"
                                      "ll");
    const std::string name =
        "m\xC3\xBC"
        "ll/\xE6\x97\xA5.xml";
    const CChildResult saved = Run({"save", "disk.vhdx", name});
    ASSERT_EQ(saved.status, 0) << saved.errors;
    const CChildResult result = Run({"map", "disk.vhdx", "--model", name});
    EXPECT_EQ(result.output, Run({"map", "disk.vhdx"}).output);
    std::ofstream(m_folder / name) << "<a>";
    EXPECT_EQ(Run({"map", "disk.vhdx", "--model", name}).errors,
              "vhdx: " + name +
                  ": this is not a saved model of a disk: line 1: unexpected end of data\n");
}

TEST_F(SavedModel, ReportsALimitOfTheFilesSizeAndLeavesNothingBehind) {
    DynamicDisk().Build().WriteTo(m_folder / "disk.vhdx");
    CChildOptions options;
    options.folder = m_folder.Path();
    options.largestFile = 512;
    const CChildResult result = RunVhdx({"save", "disk.vhdx", "model.xml"}, options);
    EXPECT_EQ(result.errors, "vhdx: model.xml: cannot be written: File too large\n");
    EXPECT_EQ(NamesIn(m_folder.Path()), std::vector<std::string>{"disk.vhdx"});
}

TEST_F(SavedModel, IsNotWrittenToADevice) {
    DynamicDisk().Build().WriteTo(m_folder / "disk.vhdx");
    EXPECT_EQ(Run({"save", "disk.vhdx", "/dev/null"}).errors,
              "vhdx: /dev/null: only a file can be written, no device and no pipe\n");
}
#endif

TEST_F(SavedModel, IsNeitherWrittenToStandardOutputNorReadFromStandardInput) {
    Save(DynamicDisk());
    const CChildResult saved = Run({"save", "disk.vhdx", "-"});
    EXPECT_EQ(saved.status, 1);
    EXPECT_EQ(saved.errors,
              "vhdx: -: a model has its identity beside it, and standard output has no place for "
              "one; name a file\n");
    const CChildResult read = Run({"map", "disk.vhdx", "--model", "-"});
    EXPECT_EQ(read.status, 1);
    EXPECT_EQ(read.errors,
              "vhdx: -: a model has its identity beside it, and standard input has none\n");
    EXPECT_EQ(NamesIn(m_folder.Path()),
              (std::vector<std::string>{"disk.vhdx", "model.xml", "model.xml.identity"}));
}

TEST_F(SavedModel, IsRefusedWhereItIsNotUsed) {
    Save(DynamicDisk());
    for (const char* form : {"--merged", "--sectors"}) {
        const CChildResult result = Run({"map", "disk.vhdx", form, "--model", "model.xml"});
        EXPECT_EQ(result.status, 2) << form;
        EXPECT_EQ(result.output, "");
    }
    EXPECT_EQ(Run({"map", "disk.vhdx", "--svg", "-", "--model", "model.xml"}).status, 2);
}

}  // namespace
}  // namespace NTest
