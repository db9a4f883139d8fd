#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "tests/interop/qemu_disk.h"
#include "tests/support/bytes.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {
namespace {

using CJson = nlohmann::json;

struct CDiskCase {
    std::string name;
    std::uint64_t blockSize;
    bool fixed;
    bool zeroState;  ///< blocks without data are marked as zeros, else as not present
    std::uint64_t virtualSize;

    std::string Options() const {
        return "block_size=" + std::to_string(blockSize) +
               ",subformat=" + (fixed ? "fixed" : "dynamic") +
               ",block_state_zero=" + (zeroState ? "on" : "off");
    }
};

std::ostream& operator<<(std::ostream& out, const CDiskCase& disk) {
    return out << disk.name;
}

/// Known places: the first sector, across the first border between blocks, a few sectors in the
/// middle, across the last border, and the last sector.
std::vector<CWrittenRange> KnownPlaces(const CDiskCase& disk) {
    std::vector<CWrittenRange> ranges = {{0, 512, 0x11}};
    if (disk.virtualSize > disk.blockSize + 64 * KiB) {
        ranges.push_back({disk.blockSize - 64 * KiB, 128 * KiB, 0x22});
    }
    ranges.push_back({disk.virtualSize / 2 / 512 * 512, 1536, 0x33});
    const std::uint64_t lastBlock = (disk.virtualSize - 1) / disk.blockSize * disk.blockSize;
    if (lastBlock > disk.blockSize && lastBlock + 1024 < disk.virtualSize) {
        ranges.push_back({lastBlock - 512, 1024, 0x44});
    }
    ranges.push_back({disk.virtualSize - 512, 512, 0x55});
    return ranges;
}

CJson VhdxJson(const std::string& command, const std::string& path) {
    const CChildResult result = RunVhdx({command, "--json", path});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.errors, "");
    return CJson::parse(result.output);
}

std::string ReadRange(const std::string& path, std::uint64_t offset, std::uint64_t length) {
    const CChildResult result = RunVhdx(
        {"read", path, "--offset", std::to_string(offset), "--length", std::to_string(length)});
    EXPECT_EQ(result.status, 0) << result.errors;
    return result.output;
}

class QemuDisk : public testing::TestWithParam<CDiskCase> {
protected:
    QemuDisk() : m_disk(GetParam().Options(), GetParam().virtualSize) {
        m_disk.Write(KnownPlaces(GetParam()));
    }

    CQemuDisk m_disk;
};

TEST_P(QemuDisk, HasTheInfoThatQemuImgGives) {
    const CJson ours = VhdxJson("info", m_disk.Path());
    const CJson theirs = m_disk.Info();
    EXPECT_EQ(theirs["format"], "vhdx");
    EXPECT_EQ(ours["virtdisksz"], theirs["virtual-size"]);
    EXPECT_EQ(ours["payloadblksz"], theirs["cluster-size"]);
    EXPECT_EQ(ours["size"], std::filesystem::file_size(m_disk.Path()));
    EXPECT_EQ(ours["type"], GetParam().fixed ? "fixed" : "dynamic");
    EXPECT_EQ(ours["bDifferencing"], false);
    EXPECT_EQ(ours["blocks"]["total"],
              (GetParam().virtualSize + GetParam().blockSize - 1) / GetParam().blockSize);
}

/// qemu-img knows no blocks of this format: it calls the whole disk data. Its extents must cover
/// exactly what our runs cover.
TEST_P(QemuDisk, HasAMapThatCoversWhatQemuImgCovers) {
    std::uint64_t ours = 0;
    for (const CJson& run : VhdxJson("map", m_disk.Path())) {
        ASSERT_EQ(run["start"], ours);
        ours += run["length"].get<std::uint64_t>();
    }
    std::uint64_t theirs = 0;
    for (const CJson& extent : m_disk.Map()) {
        ASSERT_EQ(extent["start"], theirs);
        EXPECT_EQ(extent["data"], true);
        theirs += extent["length"].get<std::uint64_t>();
    }
    EXPECT_EQ(ours, theirs);
}

/// The file's bytes at the place of each run, and zeros for runs without data, make up the disk.
TEST_P(QemuDisk, HasAMapThatLeadsToTheConvertedContent) {
    const std::filesystem::path raw = m_disk.Convert();
    for (const CJson& run : VhdxJson("map", m_disk.Path())) {
        std::uint64_t start = run["start"];
        std::uint64_t left = run["length"];
        std::uint64_t place = run["offset"].is_null() ? 0 : run["offset"].get<std::uint64_t>();
        while (left != 0) {
            const std::uint64_t length = std::min(left, 8 * MiB);
            const std::string expected = run["offset"].is_null()
                                             ? std::string(length, '\0')
                                             : FileRange(m_disk.Path(), place, length);
            ASSERT_TRUE(FileRange(raw, start, length) == expected) << run << " at " << start;
            start += length;
            place += length;
            left -= length;
        }
    }
}

TEST_P(QemuDisk, IsReadWholeAsQemuImgConvertsIt) {
    const std::filesystem::path theirs = m_disk.Convert();
    const std::filesystem::path ours = m_disk.InFolder("ours.raw");
    for (const char* view : {"--merged", "--file-only"}) {
        const CChildResult result = RunVhdx({"read", m_disk.Path(), view, "-o", ours.string()});
        ASSERT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(std::filesystem::file_size(ours), GetParam().virtualSize);
        EXPECT_EQ(RunChild({"cmp", ours.string(), theirs.string()}).status, 0) << view;
    }
}

TEST_P(QemuDisk, IsExportedAsQemuImgConvertsIt) {
    const std::filesystem::path theirs = m_disk.Convert();
    const std::filesystem::path ours = m_disk.InFolder("ours.raw");
    const CChildResult result = RunVhdx({"export", m_disk.Path(), "-o", ours.string(), "--verify"});
    ASSERT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(std::filesystem::file_size(ours), GetParam().virtualSize);
    EXPECT_EQ(RunChild({"cmp", ours.string(), theirs.string()}).status, 0);
}

TEST_P(QemuDisk, IsReadInRandomRangesAsQemuImgConvertsIt) {
    const std::filesystem::path raw = m_disk.Convert();
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 random(seed);
    const std::uint64_t size = GetParam().virtualSize;
    for (int i = 0; i < 10; ++i) {
        const std::uint64_t offset = random() % size;
        const std::uint64_t length =
            std::min(random() % (i % 2 == 0 ? 4 * KiB : 5 * MiB) + 1, size - offset);
        EXPECT_TRUE(ReadRange(m_disk.Path(), offset, length) == FileRange(raw, offset, length))
            << offset << " " << length;
    }
}

/// Where each written range starts and ends the bytes change as they were written.
TEST_P(QemuDisk, HasTheDataThatQemuIoWrote) {
    for (const CWrittenRange& range : KnownPlaces(GetParam())) {
        const std::string written(range.length, static_cast<char>(range.byte));
        EXPECT_TRUE(ReadRange(m_disk.Path(), range.offset, range.length) == written)
            << range.offset;
        if (range.offset != 0) {
            EXPECT_EQ(ReadRange(m_disk.Path(), range.offset - 1, 1), std::string(1, '\0'));
        }
        if (range.offset + range.length != GetParam().virtualSize) {
            EXPECT_EQ(ReadRange(m_disk.Path(), range.offset + range.length, 1),
                      std::string(1, '\0'));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Interop, QemuDisk,
    testing::Values(CDiskCase{"Dynamic1MiBBlocksOfSmallestDisk", MiB, false, true, MiB},
                    CDiskCase{"Dynamic1MiBBlocks", MiB, false, true, 17 * MiB + 512},
                    CDiskCase{"Dynamic1MiBBlocksNotPresent", MiB, false, false, 17 * MiB},
                    CDiskCase{"Dynamic2MiBBlocks", 2 * MiB, false, true, 33 * MiB},
                    CDiskCase{"Dynamic8MiBBlocks", 8 * MiB, false, true, 50 * MiB + 512},
                    CDiskCase{"Dynamic32MiBBlocks", 32 * MiB, false, true, 100 * MiB},
                    CDiskCase{"Dynamic256MiBBlocks", 256 * MiB, false, true, 300 * MiB},
                    CDiskCase{"Fixed1MiBBlocksOfSmallestDisk", MiB, true, true, MiB},
                    CDiskCase{"Fixed1MiBBlocks", MiB, true, false, 17 * MiB + 512},
                    CDiskCase{"Fixed2MiBBlocks", 2 * MiB, true, true, 33 * MiB},
                    CDiskCase{"Fixed8MiBBlocks", 8 * MiB, true, false, 50 * MiB + 512},
                    CDiskCase{"Fixed32MiBBlocks", 32 * MiB, true, false, 70 * MiB},
                    CDiskCase{"Fixed256MiBBlocks", 256 * MiB, true, false, 300 * MiB}),
    [](const testing::TestParamInfo<CDiskCase>& instance) { return instance.param.name; });

}  // namespace
}  // namespace NTest
