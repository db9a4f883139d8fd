#include "vhdx_parser/chain/linking_rule.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#if __has_include(<rapidcheck/gtest.h>)
#include <rapidcheck/gtest.h>
#endif

#include "tests/chain/naive_linking.h"
#include "tests/support/character_types.h"

namespace NVHDX::NLinkingRule {
namespace {

using NTest::Base;
using NTest::CDiskName;
using NTest::Child;
using NTest::CNaiveLinking;
using NTest::Text;
using TPositions = std::vector<std::size_t>;

template <class TChar>
std::vector<CLinkedDisk<TChar>> Disks(const std::vector<CDiskName>& names) {
    std::vector<CLinkedDisk<TChar>> disks;
    for (const CDiskName& disk : names) {
        disks.push_back({Text<TChar>(disk.name), disk.parent.has_value(),
                         Text<TChar>(disk.parent.value_or(""))});
    }
    return disks;
}

template <class TChar>
class LinkingRule : public ::testing::Test {
protected:
    static bool IsDisk(const char* name) { return HasDiskExtension(Text<TChar>(name)); }

    static void ExpectLinking(const std::vector<CDiskName>& names,
                              const std::vector<TPositions>& chains, const TPositions& unattached) {
        const CLinking linking = Link(Disks<TChar>(names));
        EXPECT_EQ(linking.chains, chains);
        EXPECT_EQ(linking.unattached, unattached);
    }
};
TYPED_TEST_SUITE(LinkingRule, NTest::TCharacterTypes);

TYPED_TEST(LinkingRule, TakesTwoExtensionsLetterForLetter) {
    for (const char* const name : {"a.vhdx", "a.avhdx", ".vhdx", "a.b.vhdx", "a b.avhdx"}) {
        EXPECT_TRUE(this->IsDisk(name)) << name;
    }
    for (const char* const name : {"", "vhdx", "a.VHDX", "a.vhd", "a.vhdx.", "a.vhdx.bak",
                                   "a.xvhdx", "a.vhdxx", "a.vhdx "}) {
        EXPECT_FALSE(this->IsDisk(name)) << name;
    }
}

TYPED_TEST(LinkingRule, NamesAParentByOneCharacterForEachUnit) {
    const auto name = NameFromLocator<TypeParam>(L"\u0141\uFF61\u00FC.vhdx");
    if constexpr (sizeof(TypeParam) == 1) {
        EXPECT_EQ(name, "Aa\xFC.vhdx");
    } else {
        EXPECT_EQ(name, L"\u0141\uFF61\u00FC.vhdx");
    }
    EXPECT_TRUE(NameFromLocator<TypeParam>(L"").empty());
}

TYPED_TEST(LinkingRule, LeavesNothingOfAStraightLine) {
    this->ExpectLinking({}, {}, {});
    this->ExpectLinking({Child("c", "b"), Child("b", "a"), Base("a")}, {{2, 1, 0}}, {});
}

TYPED_TEST(LinkingRule, LeavesAllChildrenOfADiskButTheFirst) {
    this->ExpectLinking({Base("a"), Child("x", "a"), Child("y", "a"), Child("z", "x")}, {{0, 1, 3}},
                        {2});
}

TYPED_TEST(LinkingRule, LeavesWhatNoBaseLeadsTo) {
    this->ExpectLinking({Child("x", "y"), Base("a"), Child("y", "x")}, {{1}}, {0, 2});
    this->ExpectLinking({Child("x", "nobody"), Child("y", "x")}, {}, {0, 1});
}

TYPED_TEST(LinkingRule, MissesTheParentsThatAreNoOtherDisk) {
    EXPECT_EQ(WithoutParent(Disks<TypeParam>({})), TPositions());
    EXPECT_EQ(WithoutParent(Disks<TypeParam>(
                  {Child("x", "A"), Base("a"), Child("b", "a"), Child("c", "c"), Child("d", "")})),
              (TPositions{0, 3, 4}));
    EXPECT_EQ(WithoutParent(Disks<TypeParam>({Base("b"), Child("b", "b")})), TPositions());
}

TEST(LinkingRuleOfPaths, FollowsAPathInTheSameFolder) {
    const CParentPath path = ParentFileName(L".\\parent.vhdx");
    EXPECT_EQ(path.problem, EPathProblem::none);
    EXPECT_EQ(path.name, L"parent.vhdx");
    EXPECT_EQ(ParentFileName(L".\\").problem, EPathProblem::none);
    EXPECT_EQ(ParentFileName(L".\\").name, L"");
    EXPECT_EQ(ParentFileName(L".\\sub\\x").name, L"sub\\x");
}

TEST(LinkingRuleOfPaths, FollowsNoOtherPath) {
    for (const wchar_t* const path : {L"", L".", L"\\"}) {
        EXPECT_EQ(ParentFileName(path).problem, EPathProblem::tooShort);
        EXPECT_TRUE(ParentFileName(path).name.empty());
    }
    for (const wchar_t* const path :
         {L"..", L"./parent.vhdx", L"..\\parent.vhdx", L"parent.vhdx", L"\\.\\parent.vhdx"}) {
        EXPECT_EQ(ParentFileName(path).problem, EPathProblem::notInSameFolder);
        EXPECT_TRUE(ParentFileName(path).name.empty());
    }
}

TEST(LinkingRuleOfAllLists, GivesAndLeavesWhatTryingEveryDiskDoes) {
    std::size_t lists = 0;
    const auto visit = [&](const std::vector<CDiskName>& names) {
        CNaiveLinking naive(names);
        const bool attachesAll = naive.Link().has_value();
        const CLinking linking = Link(Disks<char>(names));
        ASSERT_EQ(linking.chains, naive.Chains());
        ASSERT_EQ(linking.unattached, naive.Unattached());
        ASSERT_EQ(linking.unattached.empty(), attachesAll);
        ASSERT_EQ(WithoutParent(Disks<char>(names)), NTest::NaiveWithoutParent(names));
        ++lists;
    };
    NTest::VisitListsOfUpToFourDisks(visit);
    EXPECT_GT(lists, 1000u);
}

#if __has_include(<rapidcheck/gtest.h>)

RC_GTEST_PROP(RandomLinkingRule, GivesAndLeavesWhatTryingEveryDiskDoes, ()) {
    const int names = *rc::gen::inRange(1, 40);
    const auto name = [&] { return std::to_string(*rc::gen::inRange(0, names)); };
    std::vector<CDiskName> disks;
    for (int left = *rc::gen::inRange(0, 60); left > 0; --left) {
        const bool isBase = *rc::gen::inRange(0, 4) == 0;
        disks.push_back(isBase ? Base(name()) : Child(name(), name()));
    }
    CNaiveLinking naive(disks);
    naive.Link();
    const CLinking linking = Link(Disks<wchar_t>(disks));
    RC_ASSERT(linking.chains == naive.Chains());
    RC_ASSERT(linking.unattached == naive.Unattached());
    RC_ASSERT(WithoutParent(Disks<wchar_t>(disks)) == NTest::NaiveWithoutParent(disks));
}

#endif

}  // namespace
}  // namespace NVHDX::NLinkingRule
