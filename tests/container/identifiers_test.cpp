#include "vhdx_parser/container/identifiers.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace NVHDX::NFormat {
namespace {

using CMetadata = CAccessor::CMetadata;
using CRegion = CAccessor::CRegion;

std::string Text(const _GUID& guid) {
    std::ostringstream out;
    out << guid;
    return out.str();
}

std::string RegionText(CRegion::EType type) {
    const auto region = std::find_if(std::begin(KnownRegions), std::end(KnownRegions),
                                     [&](const auto& known) { return known.type == type; });
    return region == std::end(KnownRegions) ? "" : Text(region->id);
}

TEST(Identifiers, RegionsHaveTheirPublishedText) {
    EXPECT_EQ(std::size(KnownRegions), 2u);
    EXPECT_EQ(RegionText(CRegion::typeBAT), "{2DC27766-F623-4200-9D64-115E9BFD4A08}");
    EXPECT_EQ(RegionText(CRegion::typeMetadata), "{8B7CA206-4790-4B9A-B8FE-575F050F886E}");
}

TEST(Identifiers, MetadataItemsHaveTheirPublishedText) {
    EXPECT_EQ(Text(ItemOf(CMetadata::typeFileParameters).id),
              "{CAA16737-FA36-4D43-B3B6-33F0AA44E76B}");
    EXPECT_EQ(Text(ItemOf(CMetadata::typeVirtualDiskSize).id),
              "{2FA54224-CD1B-4876-B211-5DBED83BF4B8}");
    EXPECT_EQ(Text(ItemOf(CMetadata::typePage83Data).id), "{BECA12AB-B2E6-4523-93EF-C309E000C746}");
    EXPECT_EQ(Text(ItemOf(CMetadata::typeLogicalSectorSize).id),
              "{8141BF1D-A96F-4709-BA47-F233A8FAAB5F}");
    EXPECT_EQ(Text(ItemOf(CMetadata::typePhysicalSectorSize).id),
              "{CDA348C7-445D-4471-9CC9-E9885251C556}");
    EXPECT_EQ(Text(ItemOf(CMetadata::typeParentLocator).id),
              "{A8D35F2D-B30B-454D-ABF7-D3D84834AB0C}");
}

TEST(Identifiers, ParentLocatorTypeHasItsPublishedText) {
    EXPECT_EQ(Text(VHDXParentLocatorType), "{B04AEFB7-D19E-4A81-B789-25B8E9445913}");
}

TEST(Identifiers, EachMetadataItemIsThereOnce) {
    EXPECT_EQ(std::size(KnownItems), 6u);
    for (const auto type : {CMetadata::typeFileParameters, CMetadata::typeVirtualDiskSize,
                            CMetadata::typePage83Data, CMetadata::typeLogicalSectorSize,
                            CMetadata::typePhysicalSectorSize, CMetadata::typeParentLocator}) {
        EXPECT_EQ(std::count_if(std::begin(KnownItems), std::end(KnownItems),
                                [&](const CKnownItem& item) { return item.type == type; }),
                  1)
            << type;
        EXPECT_EQ(ItemOf(type).type, type);
    }
}

TEST(Identifiers, MetadataItemsHaveTheLengthOfTheirRecord) {
    EXPECT_EQ(ItemOf(CMetadata::typeFileParameters).length, 8u);
    EXPECT_EQ(ItemOf(CMetadata::typeVirtualDiskSize).length, 8u);
    EXPECT_EQ(ItemOf(CMetadata::typePage83Data).length, 16u);
    EXPECT_EQ(ItemOf(CMetadata::typeLogicalSectorSize).length, 4u);
    EXPECT_EQ(ItemOf(CMetadata::typePhysicalSectorSize).length, 4u);
    EXPECT_EQ(ItemOf(CMetadata::typeParentLocator).length, 0u);
}

TEST(Identifiers, EveryItemIsRequiredAndTwoAreNotOfTheVirtualDisk) {
    for (const CKnownItem& item : KnownItems) {
        const bool ofFile =
            item.type == CMetadata::typeFileParameters || item.type == CMetadata::typeParentLocator;
        EXPECT_EQ(item.flags, ofFile ? 4u : 6u) << item.name;
    }
}

TEST(Identifiers, OnlyTheParentLocatorIsNotInEveryDisk) {
    for (const CKnownItem& item : KnownItems) {
        EXPECT_EQ(item.inEveryDisk, item.type != CMetadata::typeParentLocator) << item.name;
    }
}

TEST(Identifiers, AreFoundByTheirGuid) {
    for (const CKnownRegion& region : KnownRegions) {
        EXPECT_EQ(FindRegion(region.id), &region) << region.name;
        EXPECT_EQ(FindItem(region.id), nullptr) << region.name;
    }
    for (const CKnownItem& item : KnownItems) {
        EXPECT_EQ(FindItem(item.id), &item) << item.name;
        EXPECT_EQ(FindRegion(item.id), nullptr) << item.name;
    }
    EXPECT_EQ(FindRegion(_GUID{}), nullptr);
    EXPECT_EQ(FindItem(_GUID{}), nullptr);
}

TEST(Identifiers, EachKeyIsThereOnceAndAloneOfItsLength) {
    EXPECT_EQ(std::size(KnownKeys), 5u);
    for (const CKnownKey& known : KnownKeys) {
        const auto shares = [&](const CKnownKey& other) {
            return other.key.size() == known.key.size() || other.format == known.format;
        };
        EXPECT_EQ(std::count_if(std::begin(KnownKeys), std::end(KnownKeys), shares), 1)
            << known.key;
    }
}

}  // namespace
}  // namespace NVHDX::NFormat
