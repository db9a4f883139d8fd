#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "vhdx_disk/chain/parent_linkage.h"
#include "vhdx_parser/foundation/guid_text.h"

namespace NTest {
namespace {

using NVHDX::NMetadata::CParent;
using NVHDXDisk::LinkagesOf;
using testing::IsEmpty;

CParent Locator(CParent::EFormat format, const std::wstring& value) {
    CParent locator;
    locator.present = true;
    locator.entries[format] = {format, value};
    return locator;
}

TEST(ParentLinkage, AGuidIsReadInEitherCase) {
    const auto guid = NGuidText::Parse<wchar_t>(L"{2dc27766-F623-4200-9d64-115E9BFD4A08}");
    ASSERT_TRUE(guid);
    EXPECT_EQ(NGuidText::TextOf(*guid), "{2DC27766-F623-4200-9D64-115E9BFD4A08}");
}

TEST(ParentLinkage, AnyOtherTextIsNoGuid) {
    for (const wchar_t* const text :
         {L"", L"{}", L"2DC27766-F623-4200-9D64-115E9BFD4A08",
          L"{2DC27766-F623-4200-9D64-115E9BFD4A0}", L"{2DC27766-F623-4200-9D64-115E9BFD4A08)",
          L"{2DC27766+F623-4200-9D64-115E9BFD4A08}", L"{2DC27766-F623-4200-9D64-115E9BFD4A0G}"}) {
        EXPECT_EQ(NGuidText::Parse<wchar_t>(text).has_value(), false) << text;
    }
}

TEST(ParentLinkage, BothKeysCountAndBadTextsDoNot) {
    CParent locator = Locator(CParent::formatParentLinkage, L"nothing");
    locator.entries[CParent::formatParentLinkage2] = {CParent::formatParentLinkage2,
                                                      L"{2DC27766-F623-4200-9D64-115E9BFD4A08}"};
    EXPECT_EQ(LinkagesOf(locator).size(), 1u);
}

TEST(ParentLinkage, TheNullGuidIsNone) {
    EXPECT_THAT(LinkagesOf(Locator(CParent::formatParentLinkage2,
                                   L"{00000000-0000-0000-0000-000000000000}")),
                IsEmpty());
}

}  // namespace
}  // namespace NTest
