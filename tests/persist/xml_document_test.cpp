// Documents written by hand: what loading makes of each, and what it refuses.

#include <string>

#include <gtest/gtest.h>
#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

#include <vhdx_parser/xml_persistence.h>

#include "tests/persist/xml_file_helpers.h"
#include "tests/support/temporary_folder.h"

namespace NVHDX {
namespace {

using boost::property_tree::ptree_bad_data;
using boost::property_tree::ptree_bad_path;
using boost::property_tree::xml_parser_error;

constexpr const char* emptyParameters = "<fileparams/>";
/// All parameters at their defaults, but for the two flags.
std::string Defaults(const std::string& requestNewBlockOffset = "0",
                     const std::string& differencing = "0") {
    return "4294967295 65535 18446744073709551615 18446744073709551615 18446744073709551615 " +
           requestNewBlockOffset + " " + differencing;
}

std::string Document(const std::string& parameters, const std::string& blocks) {
    return "<metadata>" + parameters + "<blocks>" + blocks + "</blocks></metadata>";
}

std::string WithChunks(const std::string& chunks, const std::string& ratio = "4") {
    return Document(emptyParameters, "<ratio>" + ratio + "</ratio><chunks>" + chunks + "</chunks>");
}

std::string Chunk(const std::string& payloadBlocks, const std::string& bitmap) {
    return "<chunk><payloadBlocks>" + payloadBlocks + "</payloadBlocks>" + bitmap + "</chunk>";
}

constexpr const char* noBitmap = "<noSectorBitmap>true</noSectorBitmap>";

class XmlDocument : public testing::Test {
protected:
    XmlDocument() {
        // What stands in the arguments before, to be replaced or left alone.
        blocks.ratio = 77;
        blocks.chunks.emplace_back();
        params.payloadblksz = 77;
    }

    void Load(const std::string& text) {
        NTest::WriteFile(folder / "model.xml", text);
        VHDXMetadataDeserialize((folder / "model.xml").wstring(), blocks, params);
    }

    std::string LoadedBlocks(const std::string& text) {
        Load(text);
        return NTest::Describe(blocks);
    }

    std::string LoadedParameters(const std::string& parameters) {
        Load(Document(parameters, "<ratio>4</ratio><chunks/>"));
        return NTest::Describe(params);
    }

    template <class TException>
    void ExpectRefused(const std::string& text) {
        const std::string blocksBefore = NTest::Describe(blocks);
        const std::string paramsBefore = NTest::Describe(params);
        EXPECT_THROW(Load(text), TException) << text;
        EXPECT_EQ(NTest::Describe(blocks), blocksBefore);
        EXPECT_EQ(NTest::Describe(params), paramsBefore);
    }

    NTest::CTemporaryFolder folder;
    CBlocks blocks;
    CFileParameters params;
};

TEST_F(XmlDocument, MissingParametersTakeTheirDefaults) {
    EXPECT_EQ(LoadedParameters(emptyParameters), Defaults());
}

TEST_F(XmlDocument, UnreadableParametersTakeTheirDefaults) {
    EXPECT_EQ(LoadedParameters("<fileparams><payloadblksz>x</payloadblksz><logsectsz/>"
                               "<virtdisksz>1 2</virtdisksz><maxFileOffset>0x10</maxFileOffset>"
                               "<lastPayloadBlockIndex>1,000</lastPayloadBlockIndex>"
                               "<requestNewBlockOffset>yes</requestNewBlockOffset>"
                               "<bbDifferencing>2</bbDifferencing></fileparams>"),
              Defaults());
}

TEST_F(XmlDocument, ParametersThatDoNotFitTheirTypeTakeTheirDefaults) {
    EXPECT_EQ(LoadedParameters("<fileparams><payloadblksz>4294967296</payloadblksz>"
                               "<logsectsz>65536</logsectsz>"
                               "<virtdisksz>18446744073709551616</virtdisksz></fileparams>"),
              Defaults());
}

TEST_F(XmlDocument, ParametersAreRead) {
    EXPECT_EQ(LoadedParameters("<fileparams><payloadblksz>1</payloadblksz><logsectsz>2</logsectsz>"
                               "<virtdisksz>3</virtdisksz><maxFileOffset>4</maxFileOffset>"
                               "<lastPayloadBlockIndex>5</lastPayloadBlockIndex>"
                               "<requestNewBlockOffset>true</requestNewBlockOffset></fileparams>"),
              "1 2 3 4 5 1 0");
}

TEST_F(XmlDocument, NumbersMayStandAmongBlanksWithASign) {
    EXPECT_EQ(LoadedParameters("<fileparams><payloadblksz> 7\n</payloadblksz>"
                               "<logsectsz>+8</logsectsz><virtdisksz>007</virtdisksz>"
                               "<maxFileOffset>-1</maxFileOffset></fileparams>"),
              "7 8 7 18446744073709551615 18446744073709551615 0 0");
}

TEST_F(XmlDocument, FlagsAreReadAsWordsOrDigits) {
    EXPECT_EQ(LoadedParameters("<fileparams><requestNewBlockOffset>1</requestNewBlockOffset>"
                               "</fileparams>"),
              Defaults("1"));
    EXPECT_EQ(LoadedParameters("<fileparams><requestNewBlockOffset>0</requestNewBlockOffset>"
                               "</fileparams>"),
              Defaults());
}

TEST_F(XmlDocument, DifferencingFlagIsLookedUpUnderItsOwnKey) {
    EXPECT_EQ(LoadedParameters("<fileparams><bDifferencing>true</bDifferencing></fileparams>"),
              Defaults());
    EXPECT_EQ(LoadedParameters("<fileparams><bbDifferencing>true</bbDifferencing></fileparams>"),
              Defaults("0", "1"));
}

TEST_F(XmlDocument, NoChunksReplaceThoseBefore) {
    EXPECT_EQ(LoadedBlocks(WithChunks("")), "ratio 4");
}

TEST_F(XmlDocument, RatioOf0OrBelowLoads) {
    EXPECT_EQ(LoadedBlocks(WithChunks("", "0")), "ratio 0");
    EXPECT_EQ(LoadedBlocks(WithChunks("", "-1")), "ratio 18446744073709551615");
}

TEST_F(XmlDocument, HugeRatioCostsNothing) {
    std::string chunks;
    for (int i = 0; i < 1000; ++i) {
        chunks += Chunk("", noBitmap);
    }
    Load(WithChunks(chunks, "2147483647"));
    EXPECT_EQ(blocks.chunks.size(), 1000U);
    EXPECT_EQ(blocks.ratio, 2147483647U);
}

TEST_F(XmlDocument, PayloadBlocksAreAppendedAndIndexedByTheirState) {
    const std::string text =
        WithChunks(Chunk("<payloadBlock><state>1</state><offset>10</offset></payloadBlock>"
                         "<payloadBlock><state>2</state><offset>11</offset></payloadBlock>"
                         "<payloadBlock><offset>12</offset><state>5</state></payloadBlock>"
                         "<payloadBlock><state>6</state><offset>13</offset></payloadBlock>",
                         noBitmap));
    EXPECT_EQ(LoadedBlocks(text),
              "ratio 4\nchunk of 4 (1 at 10) (2 at 11, indexed) (5 at 12, indexed) "
              "(6 at 13, indexed) no bitmap");
}

TEST_F(XmlDocument, PayloadBlockWithoutChildrenIsZeroAndNotIndexed) {
    EXPECT_EQ(LoadedBlocks(WithChunks(Chunk("<payloadBlock/>", noBitmap))),
              "ratio 4\nchunk of 1 (0 at 0) no bitmap");
}

TEST_F(XmlDocument, UnreadablePayloadBlockValuesAreZero) {
    EXPECT_EQ(
        LoadedBlocks(WithChunks(Chunk(
            "<payloadBlock><state>five</state><offset>1.5</offset></payloadBlock>", noBitmap))),
        "ratio 4\nchunk of 1 (0 at 0) no bitmap");
}

TEST_F(XmlDocument, OffsetsAreSigned32BitNumbersWidenedWithTheirSign) {
    EXPECT_EQ(LoadedBlocks(WithChunks(
                  Chunk("<payloadBlock><state>5</state><offset>2147483647</offset></payloadBlock>"
                        "<payloadBlock><state>5</state><offset>2147483648</offset></payloadBlock>"
                        "<payloadBlock><state>5</state><offset>-2</offset></payloadBlock>",
                        noBitmap))),
              "ratio 4\nchunk of 3 (5 at 2147483647, indexed) (5 at 0, indexed) "
              "(5 at 18446744073709551614, indexed) no bitmap");
}

TEST_F(XmlDocument, MorePayloadBlocksThanTheRatioLoad) {
    const std::string block = "<payloadBlock><state>5</state><offset>1</offset></payloadBlock>";
    EXPECT_EQ(LoadedBlocks(WithChunks(Chunk(block + block, noBitmap), "1")),
              "ratio 1\nchunk of 2 (5 at 1, indexed) (5 at 1, indexed) no bitmap");
}

TEST_F(XmlDocument, SectorBitmapIsReadUnlessItIsMarkedAbsent) {
    const std::string bitmap =
        "<sectorBitmapOffset>9</sectorBitmapOffset><sectorBitmapState>2</sectorBitmapState>";
    EXPECT_EQ(LoadedBlocks(WithChunks(Chunk("", bitmap + "<noSectorBitmap>false</noSectorBitmap>") +
                                      Chunk("", bitmap + noBitmap))),
              "ratio 4\nchunk of 0 bitmap 2 at 9\nchunk of 0 no bitmap");
}

TEST_F(XmlDocument, MissingOrUnreadableSectorBitmapValuesAreZero) {
    EXPECT_EQ(
        LoadedBlocks(WithChunks(Chunk("", "<noSectorBitmap>0</noSectorBitmap>") +
                                Chunk("",
                                      "<noSectorBitmap>false</noSectorBitmap><sectorBitmapOffset>"
                                      "18446744073709551615</sectorBitmapOffset>"
                                      "<sectorBitmapState>-1</sectorBitmapState>"))),
        "ratio 4\nchunk of 0 bitmap 0 at 0\nchunk of 0 bitmap -1 at 0");
}

TEST_F(XmlDocument, UnknownElementsAreIgnoredEverywhere) {
    const std::string text =
        "<other/><metadata x='1'><!-- a comment --><extra/>"
        "<fileparams><extra>1</extra><payloadblksz>5</payloadblksz></fileparams>"
        "<blocks><extra/><ratio>4</ratio><chunks><extra/><chunks/>"
        "<chunk a='b'><extra/><payloadBlocks><block/><payloadBlock><extra/><state>5</state>"
        "</payloadBlock><payloadblock/></payloadBlocks>" +
        std::string(noBitmap) + "</chunk><Chunk/></chunks></blocks></metadata>";
    EXPECT_EQ(LoadedBlocks(text), "ratio 4\nchunk of 1 (5 at 0, indexed) no bitmap");
    EXPECT_EQ(params.payloadblksz, 5U);
}

TEST_F(XmlDocument, MissingRequiredElementsAreBadPaths) {
    const std::string blocksPart = "<blocks><ratio>4</ratio><chunks/></blocks>";
    ExpectRefused<ptree_bad_path>("<other/>");
    ExpectRefused<ptree_bad_path>("<metadata>" + blocksPart + "</metadata>");
    ExpectRefused<ptree_bad_path>("<metadata><fileparams/></metadata>");
    ExpectRefused<ptree_bad_path>(Document(emptyParameters, "<chunks/>"));
    ExpectRefused<ptree_bad_path>(Document(emptyParameters, "<ratio>4</ratio>"));
    ExpectRefused<ptree_bad_path>(WithChunks(std::string("<chunk>") + noBitmap + "</chunk>"));
    ExpectRefused<ptree_bad_path>(WithChunks(Chunk("", "")));
    // A good chunk before the bad one changes nothing.
    ExpectRefused<ptree_bad_path>(WithChunks(Chunk("", noBitmap) + Chunk("", "")));
}

TEST_F(XmlDocument, UnreadableRequiredValuesAreBadData) {
    for (const char* const ratio : {"", "x", "2147483648", "-2147483649", "4.5", "1,000"}) {
        ExpectRefused<ptree_bad_data>(WithChunks("", ratio));
    }
    for (const char* const flag : {"", "yes", "2", "TRUE"}) {
        ExpectRefused<ptree_bad_data>(
            WithChunks(Chunk("", std::string("<noSectorBitmap>") + flag + "</noSectorBitmap>")));
    }
}

TEST_F(XmlDocument, MalformedTextIsAParserErrorWithTheFilesName) {
    for (const char* const text : {"<metadata>", "<metadata", "text", "<a></a>text", "<a b></a>"}) {
        ExpectRefused<xml_parser_error>(text);
    }
    try {
        Load("<metadata>\n\n<");
        FAIL() << "no exception";
    } catch (const xml_parser_error& error) {
        EXPECT_EQ(error.filename(), (folder / "model.xml").string());
        EXPECT_EQ(error.line(), 3U);
    }
}

TEST_F(XmlDocument, EmptyFileHasNoMetadata) {
    ExpectRefused<ptree_bad_path>("");
}

TEST_F(XmlDocument, MissingFileIsAParserErrorWithTheFilesName) {
    try {
        VHDXMetadataDeserialize((folder / "none.xml").wstring(), blocks, params);
        FAIL() << "no exception";
    } catch (const xml_parser_error& error) {
        EXPECT_EQ(error.message(), "cannot open file");
        EXPECT_EQ(error.filename(), (folder / "none.xml").string());
    }
    EXPECT_EQ(blocks.ratio, 77U);
}

TEST_F(XmlDocument, FolderIsAParserError) {
    EXPECT_THROW(VHDXMetadataDeserialize(folder.Wide(), blocks, params), xml_parser_error);
}

TEST_F(XmlDocument, EndlessNestingIsAParserErrorAndNoStackOverflow) {
    std::string text;
    for (int i = 0; i < 1000000; ++i) {
        text += "<a>\n";
    }
    ExpectRefused<xml_parser_error>(text);
    try {
        Load(text);
        FAIL() << "no exception";
    } catch (const xml_parser_error& error) {
        EXPECT_EQ(error.message(), "elements are nested too deeply");
        EXPECT_EQ(error.filename(), (folder / "model.xml").string());
        EXPECT_EQ(error.line(), 257U);
    }
}

TEST_F(XmlDocument, UnknownElementsMayBeNestedWithinReason) {
    std::string opening;
    std::string closing;
    for (int i = 0; i < 254; ++i) {
        opening += "<a>";
        closing += "</a>";
    }
    EXPECT_EQ(LoadedBlocks(WithChunks("<x>" + opening.substr(15) + closing.substr(20) + "</x>")),
              "ratio 4");
}

}  // namespace
}  // namespace NVHDX
