#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"
#include "tests/tool/test_disks.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

std::string Trace(const CImageBuilder& builder, const std::string& level) {
    const CTemporaryFolder folder;
    builder.Build().WriteTo(folder / "disk.vhdx");
    return RunVhdxIn(folder.Path(), {"info", "disk.vhdx", "--trace", level}).errors;
}

TEST(TraceOption, PrintsTheLinesOfTheLevelAndOfCoarserOnes) {
    const CImageBuilder disk = DifferencingDisk();
    const std::string detail = "PARENT_METADATA formatRelativePath\n";
    const std::string information = "\nOK\n";
    EXPECT_TRUE(Contains(Trace(disk, "1"), detail));
    EXPECT_TRUE(Contains(Trace(disk, "1"), information));
    EXPECT_FALSE(Contains(Trace(disk, "2"), detail));
    EXPECT_TRUE(Contains(Trace(disk, "2"), information));
    EXPECT_TRUE(Contains(Trace(disk, "4"), information));
}

TEST(TraceOption, PrintsFailuresUpToLevel3) {
    const CImageBuilder disk = CImageBuilder().EditMetadata(
        [](CMetadataTable& table) { table.Remove(NGuid::page83Data); });
    const std::string failure = "\nPAGE_83_DATA_METADATA bad MetadataPosition\n";
    EXPECT_TRUE(Contains(Trace(disk, "1"), failure));
    EXPECT_TRUE(Contains(Trace(disk, "3"), failure));
    EXPECT_FALSE(Contains(Trace(disk, "4"), failure));
    EXPECT_TRUE(Contains(Trace(disk, "4"),
                         "\nvhdx: disk.vhdx: PAGE_83_DATA_METADATA bad MetadataPosition\n"));
}

TEST(TraceOption, PrintsTheBlocksToo) {
    EXPECT_TRUE(
        Contains(Trace(DynamicDisk(), "4"),
                 "\nPayload block. Index is \"6\"; Offset is \"0\" MB; State is \"Zero\"\n"));
}

TEST(TraceOption, IsSilentWhenNotGiven) {
    const CTemporaryFolder folder;
    DynamicDisk().Build().WriteTo(folder / "disk.vhdx");
    EXPECT_EQ(RunVhdxIn(folder.Path(), {"info", "disk.vhdx"}).errors, "");
}

}  // namespace
}  // namespace NTest
