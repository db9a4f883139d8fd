#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "vhdx_parser/persist/xml_nesting.h"

namespace NVHDX {
namespace {

/// The place of the first element that lies deeper than the limit.
std::optional<std::size_t> Find(const std::string& text, std::size_t limit) {
    const char* const found = FindElementBelow(text.c_str(), limit);
    if (found == nullptr) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(found - text.c_str());
}

std::string Nested(std::size_t depth) {
    std::string text;
    for (std::size_t i = 0; i < depth; ++i) {
        text += "<a>";
    }
    for (std::size_t i = 0; i < depth; ++i) {
        text += "</a>";
    }
    return text;
}

/// Each piece stands 300 times side by side, and may not count as nesting.
void ExpectFlat(const std::string& piece) {
    std::string text = "<r>";
    for (int i = 0; i < 300; ++i) {
        text += piece;
    }
    EXPECT_EQ(Find(text + "</r>", 2), std::nullopt) << piece;
    // What follows is still seen.
    EXPECT_EQ(Find(text + "<a><b/></a></r>", 2), text.size() + 3) << piece;
}

TEST(FindElementBelow, NamesTheFirstElementPastTheLimit) {
    EXPECT_EQ(Find(Nested(3), 3), std::nullopt);
    EXPECT_EQ(Find(Nested(4), 3), 9U);
    EXPECT_EQ(Find("<a><b><c/></b></a>", 2), 6U);
    EXPECT_EQ(Find("", 0), std::nullopt);
    EXPECT_EQ(Find("<a/>", 0), 0U);
}

TEST(FindElementBelow, SiblingsDoNotAddUp) {
    ExpectFlat("<b></b>");
    ExpectFlat("<b>text</b>");
    ExpectFlat("<b/>");
    ExpectFlat("<b />");
    ExpectFlat("<b></b  >");
    ExpectFlat("<b\n\t></b>");
    ExpectFlat("<b x='1' y = \"2\" ></b>");
    ExpectFlat("<b x='1'/>");
}

TEST(FindElementBelow, SignsInAttributeValuesAreText) {
    ExpectFlat("<b x='</b>'></b>");
    ExpectFlat("<b x='/>'></b>");
    ExpectFlat("<b x=\"<c><c><c>\"/>");
    ExpectFlat("<b x='\"' y=\"'\"></b>");
    EXPECT_EQ(Find("<a x='/>'><b x='/>'><c/></b></a>", 2), 20U);
}

TEST(FindElementBelow, CommentsInstructionsAndSectionsAreNoElements) {
    ExpectFlat("<!-- <c><c><c> -->");
    ExpectFlat("<!--><c>-->");
    ExpectFlat("<![CDATA[<c><c><c>]]>");
    ExpectFlat("<?php <c><c> ?>");
    ExpectFlat("<?><c>?>");
    ExpectFlat("<?xml version='1.0' <c> ?>");
    ExpectFlat("<!ELEMENT c ANY>");
    ExpectFlat("<!-x>");
    ExpectFlat("<![X>");
}

TEST(FindElementBelow, ClosingTagsInThemCloseNothing) {
    const std::string closing[] = {"<!-- </a></a> -->", "<![CDATA[</a></a>]]>", "<?x </a></a> ?>",
                                   "<b x='</a></a>'/>", "<!DOCTYPE a [</a></a>]>"};
    for (const std::string& piece : closing) {
        const std::string text = "<a>" + piece + "<b>" + piece;
        EXPECT_EQ(Find(text + "<c><d>", 3), text.size() + 3) << piece;
    }
}

TEST(FindElementBelow, DocumentTypesMayHoldDeclarationsInBrackets) {
    EXPECT_EQ(Find("<!DOCTYPE r [<!ELEMENT a (b)>[<x><x>]<x>]><r/>", 1), std::nullopt);
    EXPECT_EQ(Find("<!DOCTYPE r><a><b/></a>", 1), 15U);
    EXPECT_EQ(Find("<!DOCTYPE r []><a><b/></a>", 1), 18U);
    // Without a blank behind it is any declaration, which ends at the first sign.
    EXPECT_EQ(Find("<!DOCTYPEr [><a><b/></a>", 1), 16U);
}

TEST(FindElementBelow, QuotesInNamesHideNothing) {
    // The parser takes quotes and '<' for parts of an element's name.
    EXPECT_EQ(Find("<a\"><b\"><c>", 2), 8U);
    EXPECT_EQ(Find("<a'><b'><c>", 2), 8U);
    EXPECT_EQ(Find("<a<a><b<b><c>", 2), 10U);
    EXPECT_EQ(Find("<a \"x='1'><b 'y='2'><c>", 2), 20U);
}

TEST(FindElementBelow, EndsWhereTheParserWouldReportAnError) {
    for (const char* const malformed :
         {"<a", "<a ", "<a x", "<a x=", "<a x='", "<a x=1>", "<a x '1'>", "<a/ >", "<a ?>", "</a>",
          "<>", "<!--", "<![CDATA[", "<?", "<!", "<!DOCTYPE a [", "<!DOCTYPE a"}) {
        EXPECT_EQ(Find(std::string(malformed) + "<b", 1), std::nullopt) << malformed;
    }
    EXPECT_EQ(Find("<a></a x><b><c/>", 1), std::nullopt);
    EXPECT_EQ(Find("<a></a", 1), std::nullopt);
}

}  // namespace
}  // namespace NVHDX
