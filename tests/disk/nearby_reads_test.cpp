#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <tuple>
#include <vector>

#include "tests/support/bytes.h"
#include "tests/support/content_pattern.h"
#include "vhdx_disk/read/nearby_reads.h"

namespace NTest {
namespace {

using NVHDXDisk::CNearbyReads;
using testing::ElementsAre;

constexpr std::uint64_t KiB = 1024;

/// File, position and length of a read.
using CReadCall = std::tuple<std::size_t, std::uint64_t, std::uint64_t>;

/// Files of the same length, each with bytes of its own; keeps the calls.
class CFiles {
public:
    bool Read(std::size_t file, std::uint64_t position, std::span<unsigned char> bytes) {
        calls.emplace_back(file, position, bytes.size());
        if (m_failing == calls.size()) {
            return false;
        }
        std::copy_n(Content(file).begin() + static_cast<std::ptrdiff_t>(position), bytes.size(),
                    bytes.begin());
        return true;
    }

    CNearbyReads::CReadFile Reader() {
        return [this](std::size_t file, std::uint64_t position, std::span<unsigned char> bytes) {
            return Read(file, position, bytes);
        };
    }

    void FailAt(std::size_t call) { m_failing = call; }

    static const CBytes& Content(std::size_t file) {
        static const std::vector<CBytes> contents = {Pattern(1, 0, 4096 * KiB),
                                                     Pattern(2, 0, 4096 * KiB)};
        return contents.at(file);
    }

    std::vector<CReadCall> calls;

private:
    std::size_t m_failing = 0;
};

struct CWanted {
    std::size_t file;
    std::uint64_t position;
    std::uint64_t length;
};

/// Reads the pieces, expects their bytes, and gives the reads that this took.
std::vector<CReadCall> CallsFor(const std::vector<CWanted>& pieces) {
    CFiles files;
    CNearbyReads reads;
    std::vector<CBytes> targets;
    for (const CWanted& piece : pieces) {
        targets.emplace_back(piece.length);
    }
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        reads.Add(pieces[i].file, pieces[i].position, targets[i]);
    }
    EXPECT_TRUE(reads.Read(files.Reader()));
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const auto begin =
            files.Content(pieces[i].file).begin() + static_cast<std::ptrdiff_t>(pieces[i].position);
        EXPECT_TRUE(std::equal(targets[i].begin(), targets[i].end(), begin)) << i;
    }
    return files.calls;
}

TEST(NearbyReads, ReadsNothingForNothing) {
    EXPECT_THAT(CallsFor({}), ElementsAre());
}

TEST(NearbyReads, ReadsASinglePieceStraightIntoItsPlace) {
    EXPECT_THAT(CallsFor({{1, 512, 700}}), ElementsAre(CReadCall(1, 512, 700)));
}

TEST(NearbyReads, ReadsFilesThatTakeTurnsOnceEach) {
    EXPECT_THAT(CallsFor({{0, 0, 4 * KiB},
                          {1, 4 * KiB, 4 * KiB},
                          {0, 8 * KiB, 4 * KiB},
                          {1, 12 * KiB, 4 * KiB}}),
                ElementsAre(CReadCall(0, 0, 12 * KiB), CReadCall(1, 4 * KiB, 12 * KiB)));
}

TEST(NearbyReads, ReadsInTheOrderOfTheFile) {
    EXPECT_THAT(CallsFor({{0, 8 * KiB, 512}, {0, 4 * KiB, 512}, {0, 6 * KiB, 512}}),
                ElementsAre(CReadCall(0, 4 * KiB, 4 * KiB + 512)));
}

TEST(NearbyReads, ReadsOverAGapOf16KiBAndOverNoLongerOne) {
    EXPECT_THAT(CallsFor({{0, 0, KiB}, {0, 17 * KiB, KiB}}),
                ElementsAre(CReadCall(0, 0, 18 * KiB)));
    EXPECT_THAT(CallsFor({{0, 0, KiB}, {0, 17 * KiB + 1, KiB}}),
                ElementsAre(CReadCall(0, 0, KiB), CReadCall(0, 17 * KiB + 1, KiB)));
}

TEST(NearbyReads, CopiesNoPieceOfMoreThan64KiB) {
    EXPECT_THAT(CallsFor({{0, 0, 64 * KiB}, {0, 64 * KiB, 64 * KiB}}),
                ElementsAre(CReadCall(0, 0, 128 * KiB)));
    EXPECT_THAT(CallsFor({{0, 0, 64 * KiB}, {0, 64 * KiB, 64 * KiB + 1}}),
                ElementsAre(CReadCall(0, 0, 64 * KiB), CReadCall(0, 64 * KiB, 64 * KiB + 1)));
    EXPECT_THAT(CallsFor({{0, 0, 64 * KiB + 1}, {0, 64 * KiB + 1, KiB}}),
                ElementsAre(CReadCall(0, 0, 64 * KiB + 1), CReadCall(0, 64 * KiB + 1, KiB)));
}

TEST(NearbyReads, ReadsAtMostAMebibyteAtOnce) {
    std::vector<CWanted> pieces;
    for (std::uint64_t at = 0; at < 2048 * KiB; at += 64 * KiB) {
        pieces.push_back({0, at, 64 * KiB});
    }
    EXPECT_THAT(CallsFor(pieces),
                ElementsAre(CReadCall(0, 0, 1024 * KiB), CReadCall(0, 1024 * KiB, 1024 * KiB)));
}

TEST(NearbyReads, ReadsNoByteMoreThanAMebibyteAtOnce) {
    std::vector<CWanted> pieces;
    for (std::uint64_t at = 0; at < 960 * KiB; at += 64 * KiB) {
        pieces.push_back({0, at, 64 * KiB});
    }
    pieces.push_back({0, 960 * KiB + 1, 64 * KiB});
    EXPECT_THAT(CallsFor(pieces),
                ElementsAre(CReadCall(0, 0, 960 * KiB), CReadCall(0, 960 * KiB + 1, 64 * KiB)));
}

TEST(NearbyReads, ReadsAPlaceThatIsNamedOftenAsOften) {
    const std::vector<CWanted> pieces(64, CWanted{0, 2 * KiB, 4 * KiB});
    EXPECT_EQ(CallsFor(pieces), std::vector<CReadCall>(64, CReadCall(0, 2 * KiB, 4 * KiB)));
}

TEST(NearbyReads, ReadsAPlaceThatIsNamedTwiceTwice) {
    EXPECT_THAT(CallsFor({{0, 0, 4 * KiB}, {0, 2 * KiB, 4 * KiB}}),
                ElementsAre(CReadCall(0, 0, 4 * KiB), CReadCall(0, 2 * KiB, 4 * KiB)));
}

TEST(NearbyReads, GivesWhatSingleReadsGive) {
    std::mt19937 random(7);
    for (int round = 0; round < 50; ++round) {
        std::vector<CWanted> pieces(random() % 40);
        for (CWanted& piece : pieces) {
            const std::uint64_t length = 1 + random() % (random() % 8 == 0 ? 100 * KiB : 5 * KiB);
            piece = {random() % 2, random() % (4096 * KiB - length), length};
        }
        EXPECT_LE(CallsFor(pieces).size(), pieces.size());
    }
}

TEST(NearbyReads, EndsWithTheFirstReadThatFails) {
    CFiles files;
    files.FailAt(2);
    CNearbyReads reads;
    CBytes bytes(3);
    for (std::uint64_t at = 0; at < 3; ++at) {
        reads.Add(0, at * 100 * KiB, std::span(bytes).subspan(at, 1));
    }
    EXPECT_FALSE(reads.Read(files.Reader()));
    EXPECT_EQ(files.calls.size(), 2U);
}

TEST(NearbyReads, ForgetsWhatIsCleared) {
    CFiles files;
    CNearbyReads reads;
    CBytes bytes(1);
    reads.Add(0, 5, bytes);
    reads.Clear();
    EXPECT_TRUE(reads.Read(files.Reader()));
    EXPECT_THAT(files.calls, ElementsAre());
}

}  // namespace
}  // namespace NTest
