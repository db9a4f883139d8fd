#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/temporary_folder.h"
#include "tests/tool/chain_disks.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

using CJson = nlohmann::json;

class Changes : public testing::Test {
protected:
    CChildResult Run(const CImageBuilder& disk, const std::string& ranges,
                     const std::string& option = "--json") const {
        disk.Build().WriteTo(m_folder / "disk.avhdx");
        std::ofstream(m_folder / "ranges.txt") << ranges;
        return RunVhdxIn(m_folder.Path(),
                         {"changes", "disk.avhdx", "--ranges", "ranges.txt", "--json", option});
    }

    CJson Items(const CImageBuilder& disk, const std::string& ranges,
                const std::string& option = "--json") const {
        const CChildResult result = Run(disk, ranges, option);
        EXPECT_EQ(result.status, 0) << result.errors;
        return CJson::parse(result.output);
    }

    CTemporaryFolder m_folder;
};

CJson Payload(std::uint64_t index, std::uint64_t offset, std::uint64_t length) {
    return {{"type", "payload"}, {"index", index}, {"offset", offset}, {"length", length}};
}

TEST_F(Changes, AreNoneForNoRanges) {
    EXPECT_EQ(Items(ChainFirst(), ""), CJson::array());
}

TEST_F(Changes, EndWithTheBitmapOfTheirChunk) {
    const CImageBuilder disk = ChainFirst();
    EXPECT_EQ(Items(disk, "0,512\n1M,4K\n"), CJson::array({Payload(0, 0, 512),
                                                           Payload(1, MiB, 4096),
                                                           {{"type", "sector_bitmap"},
                                                            {"index", 0},
                                                            {"offset", disk.BitmapPosition(0)},
                                                            {"length", MiB}}}));
}

TEST_F(Changes, HaveNoBitmapsForADiskWithoutParent) {
    EXPECT_EQ(Items(ChainBase(), "0,512"), CJson::array({Payload(0, 0, 512)}));
}

TEST_F(Changes, AreWidenedOnceAndThenCutBackInTheBlockOfTheLastData) {
    EXPECT_EQ(Items(ChainBase(), "4M,1280K\n5504K,128K\n"),
              CJson::array({Payload(0, 4 * MiB, 2 * MiB)}));
}

#if !defined(_WIN32)
TEST_F(Changes, AreReadFromStandardInput) {
    ChainBase().Build().WriteTo(m_folder / "disk.vhdx");
    std::ofstream(m_folder / "ranges.json") << R"([{"offset": 512, "length": 1024}])";
    const std::string command = std::string("'") + VHDX_PARSER_VHDX_COMMAND +
                                "' changes disk.vhdx --json --ranges - < ranges.json";
    CChildOptions options;
    options.folder = m_folder.Path();
    const CChildResult result = RunChild({"sh", "-c", command}, options);
    EXPECT_EQ(CJson::parse(result.output), CJson::array({Payload(0, 512, 1024)}));
}
#endif

TEST_F(Changes, AreRefusedWithTheNameOfTheRangesFile) {
    const CChildResult result = Run(ChainBase(), "0,2\n1,2\n");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors,
              "vhdx: ranges.txt: line 2: the range from 1 overlaps the one before it, 2 bytes from "
              "0\n");
}

TEST_F(Changes, AreRefusedPastTheEndOfTheDisk) {
    const auto refusal = [this](const std::string& ranges) {
        const CChildResult result = Run(ChainBase(), ranges);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output, "");
        return result.errors;
    };
    const std::string end = " ends past the end of the disk, which has 8388608 bytes\n";
    EXPECT_EQ(refusal("0,512\n8388607,2\n"),
              "vhdx: ranges.txt: the range of 2 bytes from 8388607" + end);
    EXPECT_EQ(refusal("0,512\n8M,1\n"),
              "vhdx: ranges.txt: the range of 1 bytes from 8388608" + end);
    EXPECT_EQ(refusal("0,512\n1T,0\n"),
              "vhdx: ranges.txt: the range of 0 bytes from 1099511627776" + end);
    EXPECT_EQ(refusal("4M,18446744073705357311\n"),
              "vhdx: ranges.txt: the range of 18446744073705357311 bytes from 4194304" + end);
    EXPECT_EQ(refusal("4M,18446744073705357312\n"),
              "vhdx: ranges.txt: line 1: the range of 18446744073705357312 bytes from 4194304 ends "
              "past 2^64\n");
    EXPECT_EQ(Items(ChainBase(), "7M,1M\n8M,0\n"), Items(ChainBase(), "7M,1M\n8M,0\n", "--clip"));
}

TEST_F(Changes, AreCutToTheDiskOnRequest) {
    EXPECT_EQ(Items(ChainBase(), "0,512\n7M,9M\n1T,512\n", "--clip"),
              CJson::array({Payload(0, 0, 512), Payload(1, 7 * MiB, MiB)}));
    EXPECT_EQ(Items(ChainBase(), "8M,512\n9M,0\n", "--clip"), CJson::array());
    EXPECT_EQ(Items(ChainFirst(), "0,512\n1M,4K\n", "--clip"),
              Items(ChainFirst(), "0,512\n1M,4K\n"));
}

TEST_F(Changes, NeedRangesThatCanBeRead) {
    const CChildResult result =
        RunVhdxIn(m_folder.Path(), {"changes", "disk.avhdx", "--ranges", "none.txt"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "vhdx: none.txt: cannot be read: No such file or directory\n");
}

}  // namespace
}  // namespace NTest
