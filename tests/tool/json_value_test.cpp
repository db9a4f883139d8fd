#include "tools/vhdx/json_value.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "tools/vhdx/command_failure.h"

namespace NTool {
namespace {

using CElements = CJsonValue::CElements;
using CMembers = CJsonValue::CMembers;

std::string Refusal(const std::string& text) {
    try {
        (void)ParseJson(text);
    } catch (const CCommandFailure& failure) {
        return failure.what();
    }
    return "";
}

std::string Nested(std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
}

TEST(JsonValue, IsPrintedInOneLineWithItsMembersInTheirOrder) {
    const CMembers value = {{"z", std::uint64_t{18446744073709551615U}},
                            {"a", CElements{true, false, CJsonValue(), "text", 0U}},
                            {"m", CMembers()},
                            {"e", CElements()}};
    EXPECT_EQ(JsonText(value),
              R"({"z":18446744073709551615,"a":[true,false,null,"text",0],"m":{},"e":[]})");
}

TEST(JsonValue, IsPrintedInLinesIndentedByTwoBlanks) {
    EXPECT_EQ(JsonLines(CMembers{{"a", CElements{1U, 2U}}}),
              "{\n  \"a\": [\n    1,\n    2\n  ]\n}");
}

TEST(JsonValue, IsPrintedInAsciiWhateverTheTextHolds) {
    EXPECT_EQ(JsonText("a\"\\\n\x1B\u00E9\xFF"), R"("a\"\\\n\u001b\u00e9\ufffd")");
}

TEST(JsonValue, OfAPointerIsItsTextAndNoTruthValue) {
    const char* const text = "text";
    EXPECT_EQ(JsonText(text), "\"text\"");
}

TEST(JsonValue, IsReadAsItIsPrinted) {
    for (const std::string text :
         {"null", "true", "[]", "{}", R"({"b":[1,{"a":"x"}],"a":18446744073709551615})", "-1.5"}) {
        EXPECT_EQ(JsonText(ParseJson(text)), text);
    }
}

TEST(JsonValue, HasANumberWhereItIsWholeAndFits) {
    const std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
    const CJsonValue value = ParseJson("18446744073709551615");
    ASSERT_NE(value.Number(), nullptr);
    EXPECT_EQ(*value.Number(), largest);
    for (const std::string text : {"18446744073709551616", "-1", "1.0", "\"1\"", "null"}) {
        EXPECT_EQ(ParseJson(text).Number(), nullptr) << text;
    }
}

TEST(JsonValue, FindsTheLastMemberOfAName) {
    const CJsonValue value = ParseJson(R"({"a": 1, "b": 2, "a": 3})");
    ASSERT_NE(value.Find("a"), nullptr);
    EXPECT_EQ(*value.Find("a")->Number(), 3U);
    EXPECT_EQ(value.Find("c"), nullptr);
    EXPECT_EQ(ParseJson("[1]").Find("a"), nullptr);
}

TEST(JsonValue, IsReadNineDeepAndNotTen) {
    EXPECT_EQ(JsonText(ParseJson(Nested(9))), Nested(9));
    EXPECT_EQ(Refusal(Nested(10)), "the JSON is nested too deeply");
}

TEST(JsonValue, IsNotReadWithWordsBehindIt) {
    EXPECT_EQ(Refusal("[] x"),
              "this is no JSON: parse error at line 1, column 4: syntax error while parsing value "
              "- invalid literal; last read: '[] x'; expected end of input");
}

}  // namespace
}  // namespace NTool
