#include "vhdx_parser/chain/chain_linking.h"

#include <algorithm>
#include <chrono>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#if __has_include(<rapidcheck/gtest.h>)
#include <rapidcheck/gtest.h>
#endif

#include "tests/chain/naive_linking.h"
#include "tests/support/character_types.h"

namespace {

using NTest::Base;
using NTest::CDiskName;
using NTest::Child;
using NTest::CNaiveChain;
using NTest::CNaiveLinking;
using NTest::Text;

/// The list as the library keeps it. Each disk's file object has its list position as its size.
template <class TChar>
std::vector<NVHDX::CChainCandidate<TChar>> Candidates(const std::vector<CDiskName>& disks) {
    std::vector<NVHDX::CChainCandidate<TChar>> candidates;
    for (const CDiskName& disk : disks) {
        auto& candidate = candidates.emplace_back();
        candidate.file = std::make_shared<NVHDX::CFileObject<TChar>>();
        candidate.file->size = candidates.size() - 1;
        candidate.name = Text<TChar>(disk.name);
        candidate.differencing = disk.parent.has_value();
        candidate.parentName = Text<TChar>(disk.parent.value_or(""));
    }
    return candidates;
}

template <class TChar>
std::vector<CNaiveChain> Linked(const std::vector<CDiskName>& disks) {
    auto candidates = Candidates<TChar>(disks);
    std::vector<CNaiveChain> positions;
    for (const auto& chain : LinkChains(candidates)) {
        auto& chainPositions = positions.emplace_back();
        for (const auto& candidate : chain) {
            chainPositions.push_back(static_cast<std::size_t>(candidate.file->size));
        }
    }
    for (const auto& candidate : candidates) {
        EXPECT_EQ(candidate.file, nullptr);
    }
    return positions;
}

template <class TChar>
class ChainLinking : public ::testing::Test {
protected:
    static void ExpectChains(const std::vector<CDiskName>& disks,
                             const std::vector<CNaiveChain>& chains) {
        EXPECT_EQ(Linked<TChar>(disks), chains);
        EXPECT_EQ(CNaiveLinking(disks).Link(), chains);
    }

    static bool EveryParentIsPresent(const std::vector<CDiskName>& disks) {
        const bool present = NVHDX::EveryParentIsPresent(Candidates<TChar>(disks));
        EXPECT_EQ(present, NTest::NaiveEveryParentIsPresent(disks));
        return present;
    }
};
TYPED_TEST_SUITE(ChainLinking, NTest::TCharacterTypes);

TYPED_TEST(ChainLinking, OfNothingGivesNothing) {
    this->ExpectChains({}, {});
}

TYPED_TEST(ChainLinking, MakesOneChainForEachBaseInListOrder) {
    this->ExpectChains({Base("b"), Base("a")}, {{0}, {1}});
}

TYPED_TEST(ChainLinking, OrdersAChainFromBaseToTip) {
    this->ExpectChains({Child("c", "b"), Child("b", "a"), Base("a")}, {{2, 1, 0}});
}

TYPED_TEST(ChainLinking, TellsChainsApart) {
    this->ExpectChains({Base("a"), Child("a1", "a"), Base("b"), Child("b1", "b"), Child("a2", "a1"),
                        Child("b2", "b1")},
                       {{0, 1, 4}, {2, 3, 5}});
}

TYPED_TEST(ChainLinking, ComparesNamesExactly) {
    this->ExpectChains({Base("a"), Base("A"), Base("ab"), Child("x", "A")}, {{0}, {1, 3}, {2}});
}

TYPED_TEST(ChainLinking, GivesNamesakesToTheEarlierChainInListOrder) {
    // Two disks of one name are no matter of folders, but the order is defined for them too.
    this->ExpectChains({Base("a"), Base("a"), Child("a", "a"), Child("b", "a")}, {{0, 2, 3}, {1}});
    this->ExpectChains({Base("a"), Base("a"), Child("b", "a"), Child("c", "a")}, {{0, 2}, {1, 3}});
}

TYPED_TEST(ChainLinking, FindsEachParentAmongTheOthers) {
    EXPECT_TRUE(this->EveryParentIsPresent({}));
    EXPECT_TRUE(this->EveryParentIsPresent({Base("a")}));
    EXPECT_TRUE(this->EveryParentIsPresent({Child("b", "a"), Base("a")}));
    EXPECT_TRUE(this->EveryParentIsPresent({Child("b", "a"), Child("a", "b")}));
}

TYPED_TEST(ChainLinking, MissesAParentThatIsNotThere) {
    EXPECT_FALSE(this->EveryParentIsPresent({Base("a"), Child("b", "A")}));
    EXPECT_FALSE(this->EveryParentIsPresent({Base("a"), Child("b", "aa")}));
    EXPECT_FALSE(this->EveryParentIsPresent({Base("aa"), Child("b", "a")}));
    EXPECT_FALSE(this->EveryParentIsPresent({Base("a"), Child("b", "")}));
}

TYPED_TEST(ChainLinking, TakesNoDiskForItsOwnParent) {
    EXPECT_FALSE(this->EveryParentIsPresent({Base("a"), Child("b", "b")}));
    EXPECT_TRUE(this->EveryParentIsPresent({Base("b"), Child("b", "b")}));
}

TEST(ChainLinkingOfAllLists, GivesWhatTryingEveryDiskGives) {
    std::size_t ending = 0;
    std::size_t endless = 0;
    const auto visit = [&](const std::vector<CDiskName>& disks) {
        ASSERT_EQ(NVHDX::EveryParentIsPresent(Candidates<char>(disks)),
                  NTest::NaiveEveryParentIsPresent(disks));
        const auto chains = CNaiveLinking(disks).Link();
        ++(chains ? ending : endless);
        if (chains) {
            ASSERT_EQ(Linked<char>(disks), *chains);
        }
    };
    NTest::VisitListsOfUpToFourDisks(visit);
    EXPECT_GT(ending, 500u);
    EXPECT_GT(endless, 500u);
}

#if __has_include(<rapidcheck/gtest.h>)

/// Chains of random lengths, in a random order of the disks; some names occur in several chains.
std::vector<CDiskName> RandomChains() {
    const auto lengths =
        *rc::gen::nonEmpty(rc::gen::container<std::vector<int>>(rc::gen::inRange(1, 8)));
    const int names = *rc::gen::inRange(1, 60);
    std::vector<CDiskName> disks;
    for (const int length : lengths) {
        disks.push_back(Base(std::to_string(*rc::gen::inRange(0, names))));
        for (int i = 1; i < length; ++i) {
            const std::string parent = disks.back().name;
            disks.push_back(Child(std::to_string(*rc::gen::inRange(0, names)), parent));
        }
    }
    std::shuffle(disks.begin(), disks.end(), std::mt19937(*rc::gen::arbitrary<unsigned>()));
    return disks;
}

RC_GTEST_PROP(RandomChainLinking, GivesWhatTryingEveryDiskGives, ()) {
    const auto disks = RandomChains();
    const auto chains = CNaiveLinking(disks).Link();
    RC_CLASSIFY(chains.has_value(), "ends");
    RC_ASSERT(NVHDX::EveryParentIsPresent(Candidates<wchar_t>(disks)) ==
              NTest::NaiveEveryParentIsPresent(disks));
    if (chains) {
        RC_ASSERT(Linked<char>(disks) == *chains);
        RC_ASSERT(Linked<wchar_t>(disks) == *chains);
    }
}

#endif

/// `chains` chains of `length` disks, every child listed before its parent.
std::vector<NVHDX::CChainCandidate<char>> ManyCandidates(std::size_t chains, std::size_t length) {
    std::vector<NVHDX::CChainCandidate<char>> candidates;
    for (std::size_t i = chains * length; i > 0; --i) {
        auto& candidate = candidates.emplace_back();
        candidate.name = std::to_string(i - 1);
        candidate.differencing = (i - 1) % length != 0;
        if (candidate.differencing) {
            candidate.parentName = std::to_string(i - 2);
        }
    }
    return candidates;
}

/// Trying every disk for every place would take 10^10 comparisons and more.
TEST(LongChainLinking, TakesNoSquareOfTheNumberOfDisks) {
    for (const std::size_t chains : {1u, 20000u}) {
        auto candidates = ManyCandidates(chains, 200000 / chains);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_TRUE(NVHDX::EveryParentIsPresent(candidates));
        const auto linked = LinkChains(candidates);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
        ASSERT_EQ(linked.size(), chains);
        EXPECT_EQ(linked.back().size(), 200000 / chains);
        EXPECT_EQ(linked.back().front().name, "0");
    }
}

}  // namespace
