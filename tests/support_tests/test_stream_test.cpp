#include "tests/support/test_stream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace NTest {
namespace {

using testing::ElementsAre;

CSparseImage Counting() {
    CSparseImage image;
    image.Write(0, CBytes{0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
    return image;
}

TEST(TestStream, ReadsAtAnyPositionAndRecordsIt) {
    CInputStream stream(Counting());
    CBytes bytes(3);
    stream.seekg(4);
    stream.read(bytes.data(), 3);
    EXPECT_TRUE(stream.good());
    EXPECT_EQ(bytes, (CBytes{4, 5, 6}));
    EXPECT_EQ(stream.get(), 7u);
    EXPECT_THAT(stream.Buffer().Seeks(), ElementsAre(4u));
    EXPECT_THAT(stream.Buffer().Reads(), ElementsAre(Portion(4, 3), Portion(7, 1)));
}

TEST(TestStream, ReadPastTheEndComesUpShort) {
    CInputStream stream(Counting());
    CBytes bytes(3);
    stream.seekg(8);
    stream.read(bytes.data(), 3);
    EXPECT_TRUE(stream.fail());
    EXPECT_EQ(stream.gcount(), 2);
}

TEST(TestStream, ReachesPositionsPastTheEndUnlessToldOtherwise) {
    CInputStream stream(Counting());
    EXPECT_TRUE(stream.seekg(1000).good());
    stream.Buffer().RefuseSeekPastEnd();
    EXPECT_TRUE(stream.seekg(10).good());
    EXPECT_TRUE(stream.seekg(11).fail());
}

TEST(TestStream, FailsAtTheSeekThatWasNamed) {
    CInputStream stream(Counting());
    stream.Buffer().FailSeek(2);
    EXPECT_TRUE(stream.seekg(1).good());
    EXPECT_TRUE(stream.tellg() == std::streampos(1));
    EXPECT_TRUE(stream.seekg(2).fail());
    EXPECT_EQ(stream.Buffer().Position(), 1u);
}

TEST(TestStream, FailsAtTheReadThatWasNamed) {
    CInputStream stream(Counting());
    stream.Buffer().FailRead(2, 1);
    CBytes bytes(2);
    EXPECT_TRUE(stream.read(bytes.data(), 2).good());
    EXPECT_TRUE(stream.read(bytes.data(), 2).fail());
    EXPECT_EQ(stream.gcount(), 1);
}

TEST(TestStream, FailsAtTheWriteThatWasNamed) {
    CSparseImage image;
    COutputStream stream(image);
    stream.Buffer().FailWrite(2, 1);
    const CBytes bytes{1, 2};
    EXPECT_TRUE(stream.write(bytes.data(), 2).good());
    EXPECT_TRUE(stream.write(bytes.data(), 2).bad());
    EXPECT_EQ(image.Bytes(0, image.Size()), (CBytes{1, 2, 1}));
    EXPECT_THAT(stream.Buffer().Writes(), ElementsAre(Portion(0, 2), Portion(2, 2)));
}

TEST(TestStream, ReachesElsewhereWhenPositioningIsIgnored) {
    CSparseImage image;
    COutputStream stream(image);
    stream.Buffer().IgnorePositioning();
    EXPECT_TRUE(stream.seekp(5).good());
    EXPECT_TRUE(stream.tellp() == std::streampos(0));
    stream.put(9);
    EXPECT_EQ(image.Bytes(0, 1), CBytes{9});
}

TEST(TestStream, ServesBothDirections) {
    CInputOutputStream stream(Counting());
    const CBytes written{50};
    stream.seekp(3).write(written.data(), 1);
    stream.seekg(3);
    EXPECT_EQ(stream.get(), 50u);
    EXPECT_EQ(stream.Image().Bytes(2, 3), (CBytes{2, 50, 4}));
}

TEST(TestStream, CountsFlushes) {
    CInputOutputStream stream(Counting());
    stream.flush();
    EXPECT_EQ(stream.Buffer().Flushes(), 1u);
}

}  // namespace
}  // namespace NTest
