#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <vhdx_disk/finding.h>

#include "tests/support/file_content.h"

namespace NTest {
namespace {

TEST(FindingsDocument, HasARowForEachKindInTheOrderOfTheStructures) {
    std::string rows;
    for (const NVHDXDisk::CFindingKind& kind : NVHDXDisk::FindingKinds()) {
        rows += std::string("| `") + kind.word + "` | " + NVHDXDisk::NameOf(kind.severity) + " | " +
                kind.meaning + " |\n";
    }
    const std::string document =
        FileText(std::filesystem::path(VHDX_PARSER_DOCUMENTS_FOLDER) / "findings.md");
    const std::size_t table = document.find("|---|---|---|\n");
    ASSERT_NE(table, std::string::npos);
    EXPECT_EQ(document.substr(table + 14), rows);
}

}  // namespace
}  // namespace NTest
