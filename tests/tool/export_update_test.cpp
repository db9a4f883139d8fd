// `vhdx export --update`: an earlier export and changed ranges, against the bytes of the models.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "tests/support/chain_model.h"
#include "tests/support/file_content.h"
#include "tests/support/random_chain.h"
#include "tests/support/temporary_folder.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

namespace fs = std::filesystem;

using CRanges = std::map<std::uint64_t, std::uint64_t>;

void Write(const fs::path& file, const CBytes& bytes) {
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

std::uint64_t SpaceOf(const fs::path& file) {
    struct stat status = {};
    EXPECT_EQ(stat(file.c_str(), &status), 0);
    return static_cast<std::uint64_t>(status.st_blocks) * 512;
}

/// A base and a checkpoint that changes blocks 1 (in part), 2 (into zeros) and 4.
CChainModel TwoFiles() {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1).Present(2, 2).Present(3, 3);
    chain.AddDisk(CDiskShape()).Partial(1, 4, {0, 9, 10, 2047}).Present(4, 5);
    chain.Empty(2, CChainModel::zero, true);
    return chain;
}

class ExportUpdate : public testing::Test {
protected:
    void WriteRanges(const CRanges& ranges) const {
        std::ofstream file(m_folder / "ranges");
        for (const auto& [offset, length] : ranges) {
            file << offset << ',' << length << '\n';
        }
    }

    CChildResult Run(const std::string& disk, const std::vector<std::string>& more = {}) const {
        std::vector<std::string> arguments = {"export",  disk,       "--update",
                                              "old.raw", "--ranges", "ranges"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunVhdxIn(m_folder.Path(), arguments);
    }

    void ExpectDone(const std::string& disk, const std::vector<std::string>& more = {}) const {
        const CChildResult result = Run(disk, more);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "");
    }

    void ExpectRefused(const std::string& disk, const std::string& reason) const {
        const CBytes before = FileBytes(m_folder / "old.raw");
        const CChildResult result = Run(disk);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.errors, "vhdx: " + reason + "\n");
        EXPECT_TRUE(FileBytes(m_folder / "old.raw") == before);
    }

    CTemporaryFolder m_folder;
};

// The comparisons do not print both sides: they are megabytes.

TEST_F(ExportUpdate, BringsTheExportOfTheParentToTheStateOfTheChild) {
    const CChainModel chain = TwoFiles();
    chain.WriteTo(m_folder.Path());
    ASSERT_EQ(RunVhdxIn(m_folder.Path(), {"export", "0.vhdx", "-o", "old.raw"}).status, 0);
    WriteRanges({{MiB, 512}, {MiB + 9 * 512, 1024}, {2 * MiB - 512, MiB + 512}, {4 * MiB, MiB}});
    ExpectDone("1.avhdx", {"--verify"});
    EXPECT_TRUE(FileBytes(m_folder / "old.raw") == chain.Content());
}

TEST_F(ExportUpdate, WritesTheRangesAndNothingElse) {
    const CChainModel chain = TwoFiles();
    chain.WriteTo(m_folder.Path());
    CBytes expected(chain.Content().size(), 0xEE);
    Write(m_folder / "old.raw", expected);
    const CRanges ranges = {{0, 1},          {5, 0},           {MiB - 1, 2}, {MiB + 5000, 70000},
                            {2 * MiB, 4097}, {4 * MiB - 3, 7}, {8 * MiB, 0}};
    WriteRanges(ranges);
    for (const auto& [offset, length] : ranges) {
        std::copy_n(chain.Content().begin() + static_cast<std::ptrdiff_t>(offset), length,
                    expected.begin() + static_cast<std::ptrdiff_t>(offset));
    }
    ExpectDone("1.avhdx", {"--verify"});
    EXPECT_TRUE(FileBytes(m_folder / "old.raw") == expected);
}

TEST_F(ExportUpdate, OfNoRangesChangesNothing) {
    TwoFiles().WriteTo(m_folder.Path());
    const CBytes older(8 * MiB, 0xEE);
    Write(m_folder / "old.raw", older);
    WriteRanges({});
    ExpectDone("1.avhdx");
    EXPECT_TRUE(FileBytes(m_folder / "old.raw") == older);
}

TEST_F(ExportUpdate, GivesTheSpaceOfNewZerosBack) {
    TwoFiles().WriteTo(m_folder.Path());
    Write(m_folder / "old.raw", CBytes(8 * MiB, 0xEE));
    ASSERT_GE(SpaceOf(m_folder / "old.raw"), 8 * MiB);
    WriteRanges({{5 * MiB, 3 * MiB}});
    ExpectDone("1.avhdx");
    EXPECT_LE(SpaceOf(m_folder / "old.raw"), 5 * MiB + 65536);
}

TEST_F(ExportUpdate, ExtendsTheImageOfADiskThatHasGrown) {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(2 * MiB - 512)).Present(0, 1).Present(1, 2);
    const CBytes older = chain.Content();
    chain.AddDisk(CDiskShape().Size(9 * MiB)).Present(3, 3).Present(7, 4);
    chain.WriteTo(m_folder.Path());
    // Some of what it grows by is named, some is not, and a range reaches across the old end.
    for (const CRanges& ranges :
         {CRanges{}, CRanges{{MiB, 3 * MiB}}, CRanges{{2 * MiB - 512, 512}, {7 * MiB, MiB}}}) {
        Write(m_folder / "old.raw", older);
        WriteRanges(ranges);
        ExpectDone("1.avhdx", {"--verify"});
        EXPECT_TRUE(FileBytes(m_folder / "old.raw") == chain.Content());
    }
    EXPECT_LE(SpaceOf(m_folder / "old.raw"), 4 * MiB + 65536);
}

TEST_F(ExportUpdate, RefusesAnImageThatIsLargerThanTheDisk) {
    TwoFiles().WriteTo(m_folder.Path());
    Write(m_folder / "old.raw", CBytes(8 * MiB + 1, 0xEE));
    WriteRanges({{0, MiB}});
    ExpectRefused("1.avhdx",
                  "old.raw: the image has 8388609 bytes and the disk only 8388608, so that it is "
                  "no earlier export of this disk");
}

TEST_F(ExportUpdate, RefusesARangePastTheEndOfTheDiskBeforeItWritesAnything) {
    TwoFiles().WriteTo(m_folder.Path());
    Write(m_folder / "old.raw", CBytes(8 * MiB, 0xEE));
    WriteRanges({{MiB, MiB}, {8 * MiB - 1, 2}});
    ExpectRefused("1.avhdx",
                  "ranges: the range of 2 bytes from 8388607 ends past the end of the disk, which "
                  "has 8388608 bytes");
    WriteRanges({{8 * MiB + 1, 0}});
    ExpectRefused("1.avhdx",
                  "ranges: the range of 0 bytes from 8388609 ends past the end of the disk, which "
                  "has 8388608 bytes");
}

TEST_F(ExportUpdate, RefusesWhatIsNoImage) {
    TwoFiles().WriteTo(m_folder.Path());
    WriteRanges({{0, 512}});
    const auto errors = [this](const std::string& image) {
        return RunVhdxIn(m_folder.Path(),
                         {"export", "1.avhdx", "--update", image, "--ranges", "ranges"})
            .errors;
    };
    const CBytes before = FileBytes(m_folder / "0.vhdx");
    EXPECT_EQ(errors("0.vhdx"), "vhdx: 0.vhdx: this is the disk file that is read\n");
    EXPECT_TRUE(FileBytes(m_folder / "0.vhdx") == before);
    EXPECT_EQ(errors("none.raw"), "vhdx: none.raw: cannot be opened: No such file or directory\n");
    EXPECT_FALSE(fs::exists(m_folder / "none.raw"));
    EXPECT_EQ(errors("."), "vhdx: .: cannot be opened: Is a directory\n");
    EXPECT_EQ(errors("/dev/full"),
              "vhdx: /dev/full: only a file can be written, no device and no pipe\n");
}

TEST_F(ExportUpdate, GoesWithRangesAndWithoutANewImage) {
    const auto usage = [this](const std::vector<std::string>& arguments) {
        const CChildResult result = RunVhdxIn(m_folder.Path(), arguments);
        EXPECT_EQ(result.status, 2);
        return result.errors;
    };
    EXPECT_EQ(usage({"export", "d"}),
              "vhdx: --output or --update is required (vhdx --help shows the usage)\n");
    EXPECT_EQ(usage({"export", "d", "--update", "r"}),
              "vhdx: --update requires --ranges (vhdx --help shows the usage)\n");
    EXPECT_EQ(usage({"export", "d", "-o", "o", "--ranges", "r"}),
              "vhdx: --ranges requires --update (vhdx --help shows the usage)\n");
    EXPECT_EQ(usage({"export", "d", "-o", "o", "--update", "r", "--ranges", "r"}),
              "vhdx: --output excludes --update (vhdx --help shows the usage)\n");
    EXPECT_EQ(usage({"export", "d", "--force", "--update", "r", "--ranges", "r"}),
              "vhdx: --force requires --output (vhdx --help shows the usage)\n");
}

TEST_F(ExportUpdate, ThatFailedSaysSoAndCanBeRunAgain) {
    CChainModel chain;
    chain.AddDisk(CDiskShape()).Present(1, 1).Present(5, 2);
    const CBytes older = chain.Content();
    chain.AddDisk(CDiskShape().Size(16 * MiB)).Present(1, 3).Present(9, 4).Present(15, 5);
    chain.WriteTo(m_folder.Path());
    Write(m_folder / "old.raw", older);
    WriteRanges({{MiB, MiB}});
    const CChildResult result =
        RunChild({"sh", "-c",
                  "ulimit -f 20000; cd \"$1\"; exec \"$0\" export 1.avhdx --update old.raw "
                  "--ranges ranges",
                  VHDX_PARSER_VHDX_COMMAND, m_folder.Narrow()});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors,
              "vhdx: old.raw: cannot be written: File too large (the image may be updated in part; "
              "run the update again)\n");
    EXPECT_FALSE(FileBytes(m_folder / "old.raw") == chain.Content());
    ExpectDone("1.avhdx");
    EXPECT_TRUE(FileBytes(m_folder / "old.raw") == chain.Content());
}

/// Held where it writes to a pipe that is full and that nobody reads, then interrupted.
TEST_F(ExportUpdate, ThatWasInterruptedCanBeRunAgain) {
    const CChainModel chain = TwoFiles();
    chain.WriteTo(m_folder.Path());
    Write(m_folder / "old.raw", CBytes(3 * MiB, 0xEE));
    WriteRanges({{0, 3 * MiB}});
    const std::string script =
        "set -m; cd \"$1\"; mkfifo hold; exec 3<>hold; "
        "dd if=/dev/zero of=hold bs=4096 count=16 2>/dev/null; "
        "\"$0\" export 1.avhdx --update old.raw --ranges ranges --progress always 2>hold & "
        "child=$!; sleep 0.3; kill -INT $child; wait $child; echo $?; ls";
    const CChildResult result =
        RunChild({"bash", "-c", script, VHDX_PARSER_VHDX_COMMAND, m_folder.Narrow()});
    EXPECT_EQ(result.output, "130\n0.vhdx\n1.avhdx\nhold\nold.raw\nold.raw.updating\nranges\n")
        << result.errors;
    EXPECT_FALSE(FileBytes(m_folder / "old.raw") == chain.Content());
    ExpectDone("1.avhdx");
    EXPECT_TRUE(FileBytes(m_folder / "old.raw") == chain.Content());
}

/// Any chain, an older image of any bytes and length, any ranges; the test's name shows the seed.
class RandomExportUpdate : public ExportUpdate, public testing::WithParamInterface<unsigned> {
protected:
    CRanges Ranges(std::uint64_t size) {
        CRanges ranges;
        for (std::uint64_t at = 0; at < size && ranges.size() < 100;) {
            at = std::min(size, at + m_random.Below(m_random.Below(2) ? 1000 : 500000));
            const std::uint64_t length =
                std::min(size - at, m_random.Below(m_random.Below(2) ? 1000 : 500000));
            ranges.emplace(at, length);
            at += length + (length == 0 ? 1 : 0);
        }
        return ranges;
    }

    CRandomChain m_random{GetParam()};
};

TEST_P(RandomExportUpdate, IsTheModelInsideTheRangesAndTheOlderImageOutside) {
    const CChainModel chain = m_random.Make();
    chain.WriteTo(m_folder.Path());
    const CBytes& content = chain.Content();
    const std::size_t olderSize =
        m_random.Below(2) ? content.size()
                          : static_cast<std::size_t>(m_random.Below(content.size() + 1));
    CBytes expected = Pattern(GetParam() + 1000, 0, olderSize);
    Write(m_folder / "old.raw", expected);
    CRanges ranges = Ranges(content.size());
    WriteRanges(ranges);

    expected.insert(expected.end(), content.begin() + static_cast<std::ptrdiff_t>(olderSize),
                    content.end());
    for (const auto& [offset, length] : ranges) {
        std::copy_n(content.begin() + static_cast<std::ptrdiff_t>(offset), length,
                    expected.begin() + static_cast<std::ptrdiff_t>(offset));
    }
    ExpectDone(CChainModel::Name(chain.Count() - 1), {"--verify"});
    EXPECT_TRUE(FileBytes(m_folder / "old.raw") == expected);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomExportUpdate, testing::Range(0u, 30u));

}  // namespace
}  // namespace NTest
