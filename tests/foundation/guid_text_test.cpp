#include "vhdx_parser/foundation/guid_text.h"

#include <string>

#include <gtest/gtest.h>
#include <vhdx_parser/guid.h>

#include "tests/support/character_types.h"

namespace {

using NGuidText::TextOf;

const std::string Usual = "{2DC27766-F623-4200-9D64-115E9BFD4A08}";
constexpr _GUID Sample = {
    0x2DC27766, 0xF623, 0x4200, {0x9D, 0x64, 0x11, 0x5E, 0x9B, 0xFD, 0x4A, 0x08}};

TEST(NarrowGuidText, IsBracedHyphenatedAndOfUpperCase) {
    EXPECT_EQ(TextOf(Sample), Usual);
    EXPECT_EQ(TextOf(_GUID{}), "{00000000-0000-0000-0000-000000000000}");
}

template <class TChar>
class GuidText : public ::testing::Test {
protected:
    static std::optional<_GUID> Parse(const std::string& ascii) {
        const auto text = NTest::Text<TChar>(ascii);
        return NGuidText::Parse(std::basic_string_view<TChar>(text));
    }
};
TYPED_TEST_SUITE(GuidText, NTest::TCharacterTypes);

TYPED_TEST(GuidText, GivesTheGuidBack) {
    for (unsigned char byte = 1; byte != 0; ++byte) {
        const _GUID guid = {byte * 0x01010100u,
                            static_cast<std::uint16_t>(byte << 8),
                            byte,
                            {byte, 2, 3, 4, 5, 6, 7, byte}};
        const auto parsed = this->Parse(TextOf(guid));
        ASSERT_TRUE(parsed.has_value());
        EXPECT_TRUE(IsEqual(*parsed, guid)) << TextOf(guid);
    }
}

TYPED_TEST(GuidText, HasDigitsOfEitherCase) {
    for (const char* const text :
         {"{2dc27766-f623-4200-9d64-115e9bfd4a08}", "{2dC27766-F623-4200-9D64-115e9BFD4a08}"}) {
        const auto parsed = this->Parse(text);
        ASSERT_TRUE(parsed.has_value()) << text;
        EXPECT_TRUE(IsEqual(*parsed, Sample)) << text;
    }
}

TYPED_TEST(GuidText, IsNoOtherTextThatHasOneMoreOrLess) {
    EXPECT_EQ(this->Parse(""), std::nullopt);
    for (std::size_t length = 1; length < Usual.size(); ++length) {
        EXPECT_EQ(this->Parse(Usual.substr(0, length)), std::nullopt) << length;
    }
    EXPECT_EQ(this->Parse(Usual.substr(1, 36)), std::nullopt);
    EXPECT_EQ(this->Parse(Usual + "0"), std::nullopt);
    EXPECT_EQ(this->Parse(' ' + Usual), std::nullopt);
    EXPECT_EQ(this->Parse(Usual + std::string(1, '\0')), std::nullopt);
}

TYPED_TEST(GuidText, HasBracesHyphensAndDigitsInTheirPlaces) {
    for (std::size_t place = 0; place < Usual.size(); ++place) {
        for (const char character : {'g', 'G', '/', ':', '@', '`', ' ', '_', '(', '\0'}) {
            std::string text = Usual;
            text[place] = character;
            EXPECT_EQ(this->Parse(text), std::nullopt) << text;
        }
        std::string text = Usual;
        text[place] = text[place] == '-' ? '0' : '-';
        EXPECT_EQ(this->Parse(text), std::nullopt) << text;
    }
}

TEST(WideGuidText, HasNoDigitsBeyondThoseOfAscii) {
    std::wstring text(Usual.begin(), Usual.end());
    for (const unsigned digit : {0xFF12u, 0x0132u, 0x0662u}) {
        text[1] = static_cast<wchar_t>(digit);
        EXPECT_EQ(NGuidText::Parse(std::wstring_view(text)), std::nullopt) << digit;
    }
}

}  // namespace
