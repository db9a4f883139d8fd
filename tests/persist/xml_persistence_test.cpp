#include <clocale>
#include <functional>
#include <locale>
#include <random>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <boost/property_tree/xml_parser.hpp>

#include <vhdx_parser/xml_persistence.h>

#include "tests/persist/xml_file_helpers.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/trace_capture.h"
#include "vhdx_parser/persist/xml_file.h"

namespace NVHDX {
namespace {

using boost::property_tree::xml_parser_error;
using testing::IsEmpty;

CFileParameters Parameters() {
    CFileParameters params;
    params.payloadblksz = 33554432;
    params.logsectsz = 512;
    params.virtdisksz = 10737418240;
    params.maxFileOffset = 1234567890123;
    params.lastPayloadBlockIndex = 319;
    params.requestNewBlockOffset = true;
    params.bDifferencing = true;
    return params;
}

/// One chunk with blocks and a bitmap, one without bitmap block, one marked as without bitmap.
CBlocks Model() {
    CBlocks blocks;
    blocks.ratio = 128;
    blocks.chunks.resize(3);
    blocks.chunks[0].InitPayloadBlock(CPayloadBlock::FullyPresent, 5);
    blocks.chunks[0].InitPayloadBlock(CPayloadBlock::Zero, 0);
    NTest::SetBitmapBlock(blocks.chunks[0], 4, 2);
    blocks.chunks[2].SetNoSectorBitmap();
    return blocks;
}

class XmlPersistence : public testing::Test {
protected:
    std::wstring Name() const { return (folder / "model.xml").wstring(); }

    std::string Saved(const CBlocks& blocks, const CFileParameters& params) {
        VHDXMetadataSerialize(Name(), blocks, params);
        return NTest::ReadFile(folder / "model.xml");
    }

    std::string SavedAndLoaded(const CBlocks& blocks) {
        VHDXMetadataSerialize(Name(), blocks, Parameters());
        CBlocks loaded;
        CFileParameters params;
        VHDXMetadataDeserialize(Name(), loaded, params);
        return NTest::Describe(loaded);
    }

    NTest::CTemporaryFolder folder;
};

TEST_F(XmlPersistence, DocumentHasTheElementsInTheirOrder) {
    EXPECT_EQ(Saved(Model(), Parameters()),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "<metadata>"
              "<fileparams><payloadblksz>33554432</payloadblksz><logsectsz>512</logsectsz>"
              "<virtdisksz>10737418240</virtdisksz><maxFileOffset>1234567890123</maxFileOffset>"
              "<lastPayloadBlockIndex>319</lastPayloadBlockIndex>"
              "<requestNewBlockOffset>true</requestNewBlockOffset>"
              "<bDifferencing>true</bDifferencing></fileparams>"
              "<blocks><ratio>128</ratio><chunks>"
              "<chunk><payloadBlocks>"
              "<payloadBlock><state>5</state><offset>5</offset></payloadBlock>"
              "<payloadBlock><state>3</state><offset>0</offset></payloadBlock></payloadBlocks>"
              "<sectorBitmapOffset>4</sectorBitmapOffset><sectorBitmapState>2</sectorBitmapState>"
              "<noSectorBitmap>false</noSectorBitmap></chunk>"
              "<chunk><payloadBlocks/>"
              "<sectorBitmapOffset>18446744073709551615</sectorBitmapOffset>"
              "<sectorBitmapState>-1</sectorBitmapState>"
              "<noSectorBitmap>false</noSectorBitmap></chunk>"
              "<chunk><payloadBlocks/>"
              "<sectorBitmapOffset>18446744073709551615</sectorBitmapOffset>"
              "<sectorBitmapState>-1</sectorBitmapState>"
              "<noSectorBitmap>true</noSectorBitmap></chunk>"
              "</chunks></blocks></metadata>");
}

TEST_F(XmlPersistence, EmptyModelHasEmptyElements) {
    EXPECT_THAT(Saved(CBlocks(), CFileParameters()),
                testing::EndsWith("<blocks><ratio>0</ratio><chunks/></blocks></metadata>"));
}

TEST_F(XmlPersistence, RoundTripKeepsAllButTheDifferencingFlag) {
    VHDXMetadataSerialize(Name(), Model(), Parameters());
    CBlocks blocks;
    CFileParameters params;
    VHDXMetadataDeserialize(Name(), blocks, params);
    EXPECT_EQ(NTest::Describe(blocks),
              "ratio 128\n"
              "chunk of 2 (5 at 5, indexed) (3 at 0) bitmap 2 at 4\n"
              "chunk of 0 bitmap -1 at 0\n"
              "chunk of 0 no bitmap");
    EXPECT_EQ(NTest::Describe(params), "33554432 512 10737418240 1234567890123 319 1 0");
}

TEST_F(XmlPersistence, LargeOffsetsAreWrittenInFullAndComeBackAs0) {
    CBlocks blocks;
    blocks.chunks.resize(1);
    blocks.chunks[0].InitPayloadBlock(CPayloadBlock::FullyPresent, 0x80000000);
    blocks.chunks[0].InitPayloadBlock(CPayloadBlock::FullyPresent, 0x7FFFFFFF);
    blocks.chunks[0].SetNoSectorBitmap();
    EXPECT_EQ(SavedAndLoaded(blocks),
              "ratio 0\nchunk of 2 (5 at 0, indexed) (5 at 2147483647, indexed) no bitmap");
    EXPECT_THAT(NTest::ReadFile(folder / "model.xml"),
                testing::HasSubstr("<offset>2147483648</offset>"));
}

TEST_F(XmlPersistence, MembersAndFreeFunctionsDoTheSame) {
    VHDXMetadataSerializable object(Name());
    object.saveXml(Model(), Parameters());
    const std::string saved = NTest::ReadFile(folder / "model.xml");
    EXPECT_EQ(saved, Saved(Model(), Parameters()));
    VHDXMetadataSerializable copy(object);
    VHDXMetadataSerializable moved(std::move(copy));
    CBlocks blocks;
    CFileParameters params;
    moved.loadXml(blocks, params);
    EXPECT_EQ(blocks.chunks.size(), 3U);
}

TEST_F(XmlPersistence, SavingReplacesTheFile) {
    NTest::WriteFile(folder / "model.xml", std::string(100000, 'x'));
    EXPECT_THAT(Saved(Model(), Parameters()), testing::EndsWith("</metadata>"));
}

TEST_F(XmlPersistence, NothingIsTraced) {
    const NTest::CTraceCapture trace;
    SavedAndLoaded(Model());
    EXPECT_THROW(VHDXMetadataSerialize(L"", Model(), Parameters()), xml_parser_error);
    EXPECT_THAT(trace.Lines(), IsEmpty());
}

TEST_F(XmlPersistence, FileThatCannotBeCreatedIsAParserErrorWithItsName) {
    const std::filesystem::path path = folder / "none" / "model.xml";
    try {
        VHDXMetadataSerialize(path.wstring(), Model(), Parameters());
        FAIL() << "no exception";
    } catch (const xml_parser_error& error) {
        EXPECT_EQ(error.message(), "cannot open file");
        EXPECT_EQ(error.filename(), path.string());
    }
}

TEST_F(XmlPersistence, DefaultConstructedObjectHasAnEmptyName) {
    CBlocks blocks;
    CFileParameters params;
    EXPECT_THROW(VHDXMetadataSerializable().saveXml(blocks, params), xml_parser_error);
    EXPECT_THROW(VHDXMetadataSerializable().loadXml(blocks, params), xml_parser_error);
}

#if defined(__linux__)
TEST_F(XmlPersistence, FullDiskIsAParserErrorWithTheFilesName) {
    const CBlocks small = Model();
    CBlocks large = Model();
    for (int i = 0; i < 10000; ++i) {
        large.chunks[0].InitPayloadBlock(CPayloadBlock::Zero, 0);
    }
    // The small document fits the stream's buffer and fails only when the file is closed.
    for (const CBlocks& blocks : {std::cref(large), std::cref(small)}) {
        try {
            VHDXMetadataSerialize(L"/dev/full", blocks, Parameters());
            ADD_FAILURE() << "no exception";
        } catch (const xml_parser_error& error) {
            EXPECT_EQ(error.message(), "write error");
            EXPECT_EQ(error.filename(), "/dev/full");
        }
    }
}
#endif

/// Numbers with signs between groups of digits and other words for the flags.
struct CForeignNumbers : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
    std::string do_truename() const override { return "wahr"; }
    std::string do_falsename() const override { return "falsch"; }
};

TEST_F(XmlPersistence, DocumentIsTheSameUnderEveryLocale) {
    const std::string saved = Saved(Model(), Parameters());
    const std::string loaded = SavedAndLoaded(Model());
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new CForeignNumbers));
    const std::string savedThere = Saved(Model(), Parameters());
    const std::string loadedThere = SavedAndLoaded(Model());
    std::locale::global(before);
    EXPECT_EQ(savedThere, saved);
    EXPECT_EQ(loadedThere, loaded);
}

/// Sets the C locale's character conversion and restores it.
class CConversionLocale {
public:
    explicit CConversionLocale(const char* name) : m_before(std::setlocale(LC_CTYPE, nullptr)) {
        m_isSet = std::setlocale(LC_CTYPE, name) != nullptr;
    }
    ~CConversionLocale() { std::setlocale(LC_CTYPE, m_before.c_str()); }
    CConversionLocale(const CConversionLocale&) = delete;
    CConversionLocale& operator=(const CConversionLocale&) = delete;

    bool IsSet() const { return m_isSet; }

private:
    std::string m_before;
    bool m_isSet;
};

TEST(NarrowFileName, KeepsPlainNames) {
    EXPECT_EQ(NarrowFileName(L"a folder/model.xml"), "a folder/model.xml");
    EXPECT_EQ(NarrowFileName(L""), "");
}

TEST_F(XmlPersistence, ANameStandsForTheObject) {
    static_assert(std::is_convertible_v<std::wstring, VHDXMetadataSerializable>);
    const auto save = [](VHDXMetadataSerializable file) { file.saveXml(Model(), Parameters()); };
    save(Name());
    CBlocks blocks;
    CFileParameters params;
    VHDXMetadataDeserialize(Name(), blocks, params);
    EXPECT_EQ(blocks.chunks.size(), 3U);
}

// What a host without Boost catches.
TEST_F(XmlPersistence, EveryFailureIsARuntimeError) {
    static_assert(std::is_base_of_v<boost::property_tree::ptree_error, xml_parser_error>);
    static_assert(std::is_base_of_v<std::runtime_error, boost::property_tree::ptree_error>);
    CBlocks blocks;
    CFileParameters params;
    EXPECT_THROW(VHDXMetadataDeserialize(L"", blocks, params), std::runtime_error);
}

TEST(NarrowFileName, EndsAtACharacterThatTheLocaleCannotConvert) {
    const CConversionLocale locale("C");
    EXPECT_EQ(NarrowFileName(L"model\x20AC.xml"), "model");
}

TEST(NarrowFileName, EndsAtAZero) {
    EXPECT_EQ(NarrowFileName(std::wstring(L"model\0.xml", 10)), "model");
}

TEST(NarrowFileName, IsCutAtAsManyBytesAsTheWideNameHasCharacters) {
    const CConversionLocale locale("C.UTF-8");
    if (!locale.IsSet()) {
        GTEST_SKIP() << "no UTF-8 locale on this system";
    }
    EXPECT_EQ(NarrowFileName(L"\x20AC-model.xml"), "\xE2\x82\xAC-model.x");
    EXPECT_EQ(NarrowFileName(L"xy\x20AC-z"), "xy\xE2\x82\xAC");
    // One byte is left for a character of three: it is left out whole.
    EXPECT_EQ(NarrowFileName(L"xyz\x20AC"), "xyz");
}

TEST_F(XmlPersistence, NameThatTheLocaleCannotConvertEndsEarly) {
    const CConversionLocale locale("C");
    VHDXMetadataSerialize((folder / "model").wstring() + L"\x20AC.xml", Model(), Parameters());
    EXPECT_TRUE(std::filesystem::exists(folder / "model"));
    CBlocks blocks;
    CFileParameters params;
    VHDXMetadataDeserialize((folder / "model").wstring() + L"\x20AD.xml", blocks, params);
    EXPECT_EQ(blocks.ratio, 128U);
}

class RandomModel : public testing::TestWithParam<unsigned> {};

TEST_P(RandomModel, ComesBackAsItWas) {
    std::mt19937_64 random(GetParam());
    const auto below = [&](std::uint64_t limit) { return random() % limit; };
    const NTest::CTemporaryFolder folder;
    for (int repetition = 0; repetition < 20; ++repetition) {
        CBlocks blocks;
        blocks.ratio = below(0x80000000);
        blocks.chunks.resize(below(5));
        for (CBlockChunk& chunk : blocks.chunks) {
            for (std::uint64_t i = below(40); i > 0; --i) {
                chunk.InitPayloadBlock(static_cast<CPayloadBlock::EState>(1 + below(6)),
                                       below(0x80000000));
            }
            if (below(2) == 0) {
                chunk.SetNoSectorBitmap();
            } else {
                NTest::SetBitmapBlock(chunk, below(0x80000000),
                                      static_cast<std::int32_t>(below(8)));
            }
        }
        CFileParameters params;
        params.payloadblksz = static_cast<std::uint32_t>(random());
        params.logsectsz = static_cast<std::uint16_t>(random());
        params.virtdisksz = random();
        params.maxFileOffset = random();
        params.lastPayloadBlockIndex = random();
        params.requestNewBlockOffset = below(2) == 0;

        VHDXMetadataSerializable file((folder / "model.xml").wstring());
        file.saveXml(blocks, params);
        CBlocks loaded;
        CFileParameters loadedParams;
        file.loadXml(loaded, loadedParams);
        ASSERT_EQ(NTest::Describe(loaded), NTest::Describe(blocks));
        ASSERT_EQ(NTest::Describe(loadedParams), NTest::Describe(params));
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomModel, testing::Range(1U, 9U));

}  // namespace
}  // namespace NVHDX
