#include "vhdx_parser/foundation/name_mask.h"

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/character_types.h"

namespace {

using NTest::Text;

template <class TChar>
class NameMask : public ::testing::Test {
protected:
    static bool Matches(std::string_view name, std::string_view mask) {
        return NSystem::MatchesMask(Text<TChar>(name), Text<TChar>(mask));
    }
};
TYPED_TEST_SUITE(NameMask, NTest::TCharacterTypes);

TYPED_TEST(NameMask, WithoutWildcardsIsTheNameItself) {
    EXPECT_TRUE(this->Matches("disk.vhdx", "disk.vhdx"));
    EXPECT_FALSE(this->Matches("disk.vhdx", "disk.VHDX"));
    EXPECT_FALSE(this->Matches("disk.vhdx", "disk.vhd"));
    EXPECT_FALSE(this->Matches("disk.vhd", "disk.vhdx"));
    EXPECT_FALSE(this->Matches("disk.vhdx", ""));
}

TYPED_TEST(NameMask, StarStandsForAnyCharacters) {
    EXPECT_TRUE(this->Matches("disk.vhdx", "*"));
    EXPECT_TRUE(this->Matches("disk.vhdx", "*.vhdx"));
    EXPECT_TRUE(this->Matches(".vhdx", "*.vhdx"));
    EXPECT_TRUE(this->Matches("disk.vhdx", "d*k.*x*"));
    EXPECT_FALSE(this->Matches("disk.avhdx", "*.vhdx"));
}

TYPED_TEST(NameMask, QuestionMarkStandsForOneCharacter) {
    EXPECT_TRUE(this->Matches("disk.vhdx", "d??k.vhdx"));
    EXPECT_FALSE(this->Matches("dik.vhdx", "d??k.vhdx"));
    EXPECT_FALSE(this->Matches("disk", "disk?"));
}

TYPED_TEST(NameMask, StarGivesBackWhatTheRestNeeds) {
    EXPECT_TRUE(this->Matches("a.vhdx.vhdx", "*.vhdx"));
    EXPECT_TRUE(this->Matches("aaab", "*a?b"));
}

/// The meaning of a pattern, word by word; slow on purpose.
bool MatchesNaively(const std::string& name, const std::string& mask) {
    if (mask.empty()) {
        return name.empty();
    }
    if (mask[0] == '*') {
        return MatchesNaively(name, mask.substr(1)) ||
               (!name.empty() && MatchesNaively(name.substr(1), mask));
    }
    return !name.empty() && (mask[0] == '?' || mask[0] == name[0]) &&
           MatchesNaively(name.substr(1), mask.substr(1));
}

/// All texts over the letters, from the empty one to those of the given length.
std::vector<std::string> AllTexts(const std::string& letters, std::size_t length) {
    std::vector<std::string> texts{""};
    for (std::size_t i = 0; i < texts.size() && texts[i].size() < length; ++i) {
        for (const char letter : letters) {
            texts.push_back(texts[i] + letter);
        }
    }
    return texts;
}

TEST(NarrowNameMask, MatchesWhatItsMeaningSaysForAllShortTexts) {
    for (const std::string& name : AllTexts("ab", 5)) {
        for (const std::string& mask : AllTexts("ab*?", 4)) {
            ASSERT_EQ(NSystem::MatchesMask(name, mask), MatchesNaively(name, mask))
                << name << " against " << mask;
        }
    }
}

TEST(NarrowNameMask, TakesNoLongerForManyStars) {
    std::string mask;
    for (int i = 0; i < 100; ++i) {
        mask += "*a";
    }
    EXPECT_FALSE(NSystem::MatchesMask(std::string(10000, 'a'), mask + "*b"));
}

}  // namespace
