#include "tests/disk/check_result.h"

namespace NTest {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

CImageBuilder WithLocator(const std::function<void(CParentLocator&)>& edit) {
    return CImageBuilder().Differencing().EditParentLocator(edit);
}

/// Of a place in the parent locator of such a disk.
std::string At(const std::string& kind, std::uint64_t place) {
    const CImageBuilder disk = CImageBuilder().Differencing();
    return kind + " at offset " + std::to_string(disk.ItemPosition(NGuid::parentLocator) + place);
}

TEST(DiskCheckLocator, FindsAReservedField) {
    EXPECT_THAT(CheckChild(WithLocator([](CParentLocator& l) { l.reserved = 0x100; })).Sentences(),
                ElementsAre(At("locator-reserved", 16) +
                            ": the reserved field of the parent locator is not 0"));
}

TEST(DiskCheckLocator, FindsEntriesThatAreEmptyOrOutside) {
    const auto sentence = [](std::uint64_t entry) {
        return At("locator-entry", 20 + 12 * entry) +
               ": the key or the value of this entry is empty, or does not lie in the parent "
               "locator";
    };
    EXPECT_THAT(CheckChild(WithLocator([](CParentLocator& l) {
                    l.entries[1].valueLength = 0;
                })).Sentences(),
                ElementsAre(sentence(1), testing::StartsWith("parent-missing")));
    EXPECT_THAT(
        CheckChild(WithLocator([](CParentLocator& l) { l.entries[0].keyLength = 0; })).Sentences(),
        Contains(sentence(0)));
    EXPECT_THAT(
        CheckChild(WithLocator([](CParentLocator& l) { l.entries[0].keyOffset = 0; })).Sentences(),
        Contains(sentence(0)));
    EXPECT_THAT(CheckChild(WithLocator([](CParentLocator& l) {
                    l.entries[1].valueOffset = 0;
                })).Sentences(),
                Contains(sentence(1)));
}

TEST(DiskCheckLocator, WantsTheLastTextToEndWithTheItem) {
    const auto cutBy = [](std::uint32_t bytes) {
        return CImageBuilder().Differencing().EditMetadata([bytes](CMetadataTable& table) {
            CMetadataItem& item = table.Find(NGuid::parentLocator);
            item.length = static_cast<std::uint32_t>(item.payload.size()) - bytes;
        });
    };
    EXPECT_THAT(ChildFindings(cutBy(0)), IsEmpty());
    EXPECT_THAT(ChildFindings(cutBy(1)), ElementsAre(At("locator-entry", 32)));
}

TEST(DiskCheckLocator, FindsMoreEntriesThanThereIsRoomFor) {
    const auto claiming = [](std::uint16_t count) {
        return CImageBuilder().Differencing().ParentLocator({}).EditParentLocator(
            [count](CParentLocator& l) { l.count = count; });
    };
    EXPECT_THAT(CheckChild(claiming(1)).Sentences(),
                Contains(At("locator-count", 18) +
                         ": the parent locator claims 1 entries, and has no room for them"));
    EXPECT_THAT(ChildFindings(claiming(0)), testing::Not(Contains(At("locator-count", 18))));
    EXPECT_THAT(ChildFindings(claiming(1)), testing::Not(Contains(At("locator-entry", 20))));
}

// Whoever reads the locator finds that.
TEST(DiskCheckLocator, SaysNothingOfTheFormOfOneThatIsCutOff) {
    const CImageBuilder disk = CImageBuilder().Differencing().EditMetadata(
        [](CMetadataTable& table) { table.Find(NGuid::parentLocator).length = 19; });
    EXPECT_THAT(ChildFindings(disk), testing::Not(Contains(At("locator-count", 18))));
}

}  // namespace
}  // namespace NTest
