#include <vhdx_parser/accessor.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/container/opened_disk.h"
#include "tests/container/opening.h"

namespace NTest {
namespace {

using CParent = NVHDX::NMetadata::CParent;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(CParent::formatParentLinkage == 1 && CParent::formatParentLinkage2 == 2 &&
              CParent::formatRelativePath == 3 && CParent::formatVolumePath == 4 &&
              CParent::formatAbsoluteWin32Path == 5);

/// The result of one retrieval: what was answered, filled and traced.
struct CRetrieval {
    bool retrieved;
    CParent parent;
    CLines lines;
};

CRetrieval Retrieve(COpenedDisk& disk, CParent parent = {}) {
    CTraceCapture trace;
    const bool retrieved = disk.Retrieve(parent);
    return {retrieved, parent, trace.Lines()};
}

CRetrieval Retrieve(const CImageBuilder& builder) {
    COpenedDisk disk(builder);
    return Retrieve(disk);
}

CRetrieval Retrieve(const CParentLocatorPairs& pairs) {
    return Retrieve(CImageBuilder().ParentLocator(pairs));
}

/// A locator of one usual pair, with an edit of its entry.
CRetrieval RetrieveEdited(const std::function<void(CParentLocatorEntry&)>& edit) {
    return Retrieve(
        CImageBuilder()
            .ParentLocator({{u"relative_path", u".\\base.vhdx"}})
            .EditParentLocator([edit](CParentLocator& locator) { edit(locator.entries.at(0)); }));
}

std::wstring Value(const CRetrieval& retrieval, CParent::EFormat format) {
    return retrieval.parent.entries.at(format).value;
}

const CTraceLine RelativePathLine = Line(1, "PARENT_METADATA formatRelativePath");
const CTraceLine BadFormat = Line(3, "PARENT_METADATA bad format");
const CTraceLine FailedReading = Line(3, "PARENT_METADATA failed Stream Portion Reading");
const CTraceLine FailedValue = Line(3, "PARENT_METADATA failed istreamstr Reading");

TEST(ParentLocator, DiskWithoutOneLeavesTheRecordAsItWas) {
    for (const bool present : {false, true}) {
        COpenedDisk disk{CImageBuilder()};
        CParent parent;
        parent.present = present;
        parent.entries[CParent::formatVolumePath] = {CParent::formatVolumePath, L"kept"};
        const CRetrieval retrieval = Retrieve(disk, parent);
        EXPECT_TRUE(retrieval.retrieved);
        EXPECT_EQ(retrieval.parent.present, present);
        EXPECT_EQ(retrieval.parent.entries.size(), 1u);
        EXPECT_EQ(Value(retrieval, CParent::formatVolumePath), L"kept");
        EXPECT_THAT(retrieval.lines, IsEmpty());
        EXPECT_THAT(disk.stream.Buffer().Seeks(), IsEmpty());
    }
}

TEST(ParentLocator, EmptyOneIsPresent) {
    const CRetrieval retrieval = Retrieve(CParentLocatorPairs{});
    EXPECT_TRUE(retrieval.retrieved);
    EXPECT_TRUE(retrieval.parent.present);
    EXPECT_TRUE(retrieval.parent.entries.empty());
    EXPECT_THAT(retrieval.lines, IsEmpty());
}

TEST(ParentLocator, EveryKnownKeyIsTracedAndKeptWithItsValue) {
    const CRetrieval retrieval = Retrieve({{u"absolute_win32_path", u"C:\\disks\\base.vhdx"},
                                           {u"parent_linkage", u"{linkage}"},
                                           {u"volume_path", u"\\\\?\\Volume{1}\\base.vhdx"},
                                           {u"parent_linkage2", u"{linkage2}"},
                                           {u"relative_path", u".\\base.vhdx"}});
    EXPECT_TRUE(retrieval.retrieved);
    EXPECT_TRUE(retrieval.parent.present);
    EXPECT_EQ(retrieval.parent.entries.size(), 5u);
    for (const auto& [format, entry] : retrieval.parent.entries) {
        EXPECT_EQ(entry.format, format);
    }
    EXPECT_EQ(Value(retrieval, CParent::formatParentLinkage), L"{linkage}");
    EXPECT_EQ(Value(retrieval, CParent::formatParentLinkage2), L"{linkage2}");
    EXPECT_EQ(Value(retrieval, CParent::formatRelativePath), L".\\base.vhdx");
    EXPECT_EQ(Value(retrieval, CParent::formatVolumePath), L"\\\\?\\Volume{1}\\base.vhdx");
    EXPECT_EQ(Value(retrieval, CParent::formatAbsoluteWin32Path), L"C:\\disks\\base.vhdx");
    EXPECT_THAT(retrieval.lines, ElementsAre(Line(1, "PARENT_METADATA formatAbsoluteWin32Path"),
                                             Line(1, "PARENT_METADATA formatParentLinkage"),
                                             Line(1, "PARENT_METADATA formatVolumePath"),
                                             Line(1, "PARENT_METADATA formatParentLinkage2"),
                                             Line(1, "PARENT_METADATA formatRelativePath")));
}

TEST(ParentLocator, IsReadHeaderThenEntriesThenTexts) {
    const CImageBuilder builder =
        CImageBuilder().ParentLocator({{u"relative_path", u"a"}, {u"volume_path", u"bc"}});
    COpenedDisk disk(builder);
    EXPECT_TRUE(Retrieve(disk).retrieved);
    const std::uint64_t item = builder.ItemPosition(NGuid::parentLocator);
    // Texts follow the 20 bytes of the header and two entries of 12 bytes.
    EXPECT_THAT(disk.stream.Buffer().Reads(),
                ElementsAre(Portion(item, 20), Portion(item + 20, 12), Portion(item + 32, 12),
                            Portion(item + 44, 26), Portion(item + 70, 2), Portion(item + 72, 22),
                            Portion(item + 94, 4)));
    EXPECT_THAT(disk.stream.Buffer().Seeks(),
                ElementsAre(item, item + 44, item + 70, item + 72, item + 94));
    EXPECT_EQ(disk.stream.Buffer().Position(), item + 98);
}

TEST(ParentLocator, OtherTypeIsRefused) {
    for (std::size_t byte = 0; byte < 16; ++byte) {
        const CRetrieval retrieval = Retrieve(
            CImageBuilder()
                .ParentLocator({{u"relative_path", u"a"}})
                .EditParentLocator([byte](CParentLocator& locator) { locator.type[byte] ^= 1; }));
        EXPECT_FALSE(retrieval.retrieved) << byte;
        EXPECT_TRUE(retrieval.parent.present);
        EXPECT_THAT(retrieval.lines, ElementsAre(Line(3, "PARENT_METADATA bad locator type")));
    }
}

TEST(ParentLocator, ReservedFieldIsNotLookedAt) {
    EXPECT_TRUE(
        Retrieve(CImageBuilder()
                     .ParentLocator({{u"relative_path", u"a"}})
                     .EditParentLocator([](CParentLocator& locator) { locator.reserved = 0xFFFF; }))
            .retrieved);
}

TEST(ParentLocator, KeyInAnotherCaseIsABadFormat) {
    const CRetrieval retrieval = Retrieve({{u"Parent_Linkage", u"value"}});
    EXPECT_FALSE(retrieval.retrieved);
    EXPECT_TRUE(retrieval.parent.entries.empty());
    EXPECT_THAT(retrieval.lines, ElementsAre(BadFormat));
}

TEST(ParentLocator, KeyThatDiffersInItsLastCharacterIsABadFormat) {
    for (const char16_t* const key : {u"parent_linkagf", u"parent_linkage3", u"relative_patH",
                                      u"volume_pati", u"absolute_win32_pat_"}) {
        const CRetrieval retrieval = Retrieve({{key, u"value"}});
        EXPECT_FALSE(retrieval.retrieved);
        EXPECT_THAT(retrieval.lines, ElementsAre(BadFormat));
    }
}

TEST(ParentLocator, HighByteOfAKeysCharacterCounts) {
    // U+0170 ends in the byte of 'p'.
    EXPECT_THAT(Retrieve({{u"\u0170arent_linkage", u"value"}}).lines, ElementsAre(BadFormat));
}

TEST(ParentLocator, KeyOfAnotherLengthIsABadFormat) {
    for (const char16_t* const key :
         {u"", u"x", u"parent_linkage_", u"parent_linkage22", u"path"}) {
        EXPECT_THAT(Retrieve({{key, u"value"}}).lines, ElementsAre(BadFormat));
    }
}

TEST(ParentLocator, TerminatorWithinTheKeyIsABadFormat) {
    EXPECT_THAT(Retrieve({{std::u16string(u"relative_path\0", 14), u"value"}}).lines,
                ElementsAre(BadFormat));
}

TEST(ParentLocator, FailureKeepsWhatCameBefore) {
    const CRetrieval retrieval =
        Retrieve({{u"relative_path", u"first"}, {u"nonsense", u"second"}, {u"volume_path", u"x"}});
    EXPECT_FALSE(retrieval.retrieved);
    EXPECT_TRUE(retrieval.parent.present);
    EXPECT_EQ(retrieval.parent.entries.size(), 1u);
    EXPECT_THAT(retrieval.lines, ElementsAre(RelativePathLine, BadFormat));
}

TEST(ParentLocator, OddKeyLengthFailsWithoutALine) {
    for (const std::uint16_t length : std::vector<std::uint16_t>{1, 25, 29, 65535}) {
        const CRetrieval retrieval =
            RetrieveEdited([=](CParentLocatorEntry& entry) { entry.keyLength = length; });
        EXPECT_FALSE(retrieval.retrieved) << length;
        EXPECT_THAT(retrieval.lines, IsEmpty()) << length;
    }
}

TEST(ParentLocator, OddValueLengthIsAFailedReading) {
    for (const std::uint16_t length : std::vector<std::uint16_t>{1, 11, 65535}) {
        const CRetrieval retrieval =
            RetrieveEdited([=](CParentLocatorEntry& entry) { entry.valueLength = length; });
        EXPECT_FALSE(retrieval.retrieved) << length;
        EXPECT_TRUE(retrieval.parent.entries.empty());
        EXPECT_THAT(retrieval.lines, ElementsAre(RelativePathLine, FailedValue)) << length;
    }
}

TEST(ParentLocator, KeyBehindTheEndOfTheFileFailsWithoutALine) {
    const CRetrieval retrieval =
        RetrieveEdited([](CParentLocatorEntry& entry) { entry.keyOffset = 0xFFFFFFFF; });
    EXPECT_FALSE(retrieval.retrieved);
    EXPECT_THAT(retrieval.lines, IsEmpty());
}

TEST(ParentLocator, ValueBehindTheEndOfTheFileIsAFailedReading) {
    const CRetrieval retrieval =
        RetrieveEdited([](CParentLocatorEntry& entry) { entry.valueOffset = 0xFFFFFFFF; });
    EXPECT_FALSE(retrieval.retrieved);
    EXPECT_THAT(retrieval.lines, ElementsAre(RelativePathLine, FailedValue));
}

TEST(ParentLocator, EmptyValueIsKept) {
    const CRetrieval retrieval = Retrieve({{u"relative_path", u""}});
    EXPECT_TRUE(retrieval.retrieved);
    EXPECT_EQ(Value(retrieval, CParent::formatRelativePath), L"");
}

TEST(ParentLocator, ValueKeepsTerminatorsAndZeros) {
    const CRetrieval retrieval = Retrieve({{u"relative_path", std::u16string(u"a\0b\0", 4)}});
    EXPECT_TRUE(retrieval.retrieved);
    EXPECT_EQ(Value(retrieval, CParent::formatRelativePath), std::wstring(L"a\0b\0", 4));
}

TEST(ParentLocator, ValueHasOneCharacterForEachCodeUnit) {
    // A letter, the two halves of one emoji, a half alone, and the largest unit.
    const std::u16string value = {u'\u00E4', 0xD83D, 0xDCBE, 0xD800, 0xFFFF};
    const CRetrieval retrieval = Retrieve({{u"relative_path", value}});
    EXPECT_TRUE(retrieval.retrieved);
    const std::wstring kept = Value(retrieval, CParent::formatRelativePath);
    EXPECT_THAT(std::vector<std::uint32_t>(kept.begin(), kept.end()),
                ElementsAre(0xE4u, 0xD83Du, 0xDCBEu, 0xD800u, 0xFFFFu));
}

TEST(ParentLocator, LongestValueIsReadWhole) {
    const std::u16string value(32767, u'x');
    const CRetrieval retrieval = Retrieve({{u"relative_path", value}});
    EXPECT_TRUE(retrieval.retrieved);
    EXPECT_EQ(Value(retrieval, CParent::formatRelativePath), std::wstring(32767, L'x'));
}

TEST(ParentLocator, ShortTextAfterALongOneHasNothingOfIt) {
    const CRetrieval retrieval =
        Retrieve({{u"relative_path", u"a very long value indeed"}, {u"volume_path", u"b"}});
    EXPECT_TRUE(retrieval.retrieved);
    EXPECT_EQ(Value(retrieval, CParent::formatVolumePath), L"b");
}

TEST(ParentLocator, FirstValueOfAKeyStays) {
    const CRetrieval retrieval =
        Retrieve({{u"relative_path", u"first"}, {u"relative_path", u"second"}});
    EXPECT_TRUE(retrieval.retrieved);
    EXPECT_EQ(retrieval.parent.entries.size(), 1u);
    EXPECT_EQ(Value(retrieval, CParent::formatRelativePath), L"first");
    EXPECT_THAT(retrieval.lines, ElementsAre(RelativePathLine, RelativePathLine));
}

TEST(ParentLocator, ValueThatTheCallerBroughtStays) {
    COpenedDisk disk(CImageBuilder().ParentLocator({{u"relative_path", u"read"}}));
    CParent parent;
    parent.entries[CParent::formatRelativePath] = {CParent::formatRelativePath, L"brought"};
    const CRetrieval retrieval = Retrieve(disk, parent);
    EXPECT_TRUE(retrieval.retrieved);
    EXPECT_EQ(Value(retrieval, CParent::formatRelativePath), L"brought");
}

TEST(ParentLocator, TextsMayLieAnywhereAndOverlap) {
    const CRetrieval retrieval = RetrieveEdited([](CParentLocatorEntry& entry) {
        // The value is the end of the key: "relative_path" begins behind header and one entry.
        entry.valueOffset = 32 + 2 * 9;
        entry.valueLength = 2 * 4;
    });
    EXPECT_TRUE(retrieval.retrieved);
    EXPECT_EQ(Value(retrieval, CParent::formatRelativePath), L"path");
}

TEST(ParentLocator, CountBeyondTheFileIsAFailedReading) {
    const CImageBuilder builder =
        CImageBuilder()
            .ParentLocator({{u"relative_path", u"a"}})
            .EditParentLocator([](CParentLocator& locator) { locator.count = 65535; });
    const std::uint64_t item = builder.ItemPosition(NGuid::parentLocator);
    const CRetrieval retrieval =
        Retrieve(CImageBuilder(builder).FileSize(item + 20 + 65535 * 12 - 1));
    EXPECT_FALSE(retrieval.retrieved);
    EXPECT_TRUE(retrieval.parent.present);
    EXPECT_TRUE(retrieval.parent.entries.empty());
    EXPECT_THAT(retrieval.lines, ElementsAre(FailedReading));
}

TEST(ParentLocator, ItemBehindTheEndOfTheFileIsAFailedReading) {
    COpenedDisk disk(CImageBuilder()
                         .ParentLocator({})
                         .EditMetadata([](CMetadataTable& table) {
                             table.Find(NGuid::parentLocator).offset = 0xFFFFFFF0;
                             table.Find(NGuid::parentLocator).payload.clear();
                         })
                         .FileSize(4 * MiB));
    const CRetrieval retrieval = Retrieve(disk);
    EXPECT_FALSE(retrieval.retrieved);
    EXPECT_TRUE(retrieval.parent.present);
    EXPECT_THAT(retrieval.lines, ElementsAre(FailedReading));
}

/// A failure at the n-th read or seek, and all the lines that come.
struct CFailure {
    std::uint64_t n;
    CLines lines;
};

CImageBuilder TwoPairs() {
    return CImageBuilder().ParentLocator({{u"relative_path", u"a"}, {u"volume_path", u"b"}});
}

const CTraceLine VolumePathLine = Line(1, "PARENT_METADATA formatVolumePath");

TEST(ParentLocator, FailureOfAnyReadEndsItAsItsPlaceDemands) {
    const std::vector<CFailure> failures = {{1, {FailedReading}},
                                            {2, {FailedReading}},
                                            {3, {FailedReading}},
                                            {4, {}},
                                            {5, {RelativePathLine, FailedValue}},
                                            {6, {RelativePathLine}},
                                            {7, {RelativePathLine, VolumePathLine, FailedValue}}};
    for (const auto& [n, lines] : failures) {
        COpenedDisk disk(TwoPairs());
        disk.stream.Buffer().FailRead(n, 1);
        const CRetrieval retrieval = Retrieve(disk);
        EXPECT_FALSE(retrieval.retrieved) << "read " << n;
        EXPECT_TRUE(retrieval.parent.present) << "read " << n;
        EXPECT_EQ(retrieval.lines, lines) << "read " << n;
        EXPECT_EQ(disk.stream.Buffer().Reads().size(), n);
    }
}

TEST(ParentLocator, FailureOfAnySeekEndsItAsItsPlaceDemands) {
    const std::vector<CFailure> failures = {{1, {Line(3, "PARENT_METADATA bad MetadataPosition")}},
                                            {2, {}},
                                            {3, {RelativePathLine, FailedValue}},
                                            {4, {RelativePathLine}},
                                            {5, {RelativePathLine, VolumePathLine, FailedValue}}};
    for (const auto& [n, lines] : failures) {
        COpenedDisk disk(TwoPairs());
        disk.stream.Buffer().FailSeek(n);
        const CRetrieval retrieval = Retrieve(disk);
        EXPECT_FALSE(retrieval.retrieved) << "seek " << n;
        EXPECT_EQ(retrieval.parent.present, n > 1) << "seek " << n;
        EXPECT_EQ(retrieval.lines, lines) << "seek " << n;
        EXPECT_EQ(disk.stream.Buffer().Seeks().size(), n);
    }
}

}  // namespace
}  // namespace NTest
