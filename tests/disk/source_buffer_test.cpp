#include <gtest/gtest.h>

#include <cerrno>
#include <random>

#include "tests/support/content_pattern.h"
#include "tests/support/memory_source.h"
#include "vhdx_disk/source/source_buffer.h"

namespace NTest {
namespace {

using NVHDXDisk::CSourceBuffer;

/// Not a multiple of anything that the buffer reads at once.
constexpr std::uint64_t Size = 50007;

CSparseImage Content() {
    CSparseImage image;
    image.Write(0, Pattern(1, 0, Size));
    return image;
}

class CSourceStream : public std::basic_istream<unsigned char> {
public:
    explicit CSourceStream(NVHDXDisk::CSourcePointer source)
        : std::basic_istream<unsigned char>(nullptr), m_buffer(std::move(source)) {
        rdbuf(&m_buffer);
    }

private:
    CSourceBuffer m_buffer;
};

/// Does the same to both streams and expects the same of them.
class CTwin {
public:
    explicit CTwin(std::uint64_t seed) : m_random(seed) {}

    void Step() {
        switch (Below(6)) {
            case 0:
                Seek(std::ios_base::beg, static_cast<std::int64_t>(Below(Size + 100)));
                break;
            case 1:
                Seek(std::ios_base::cur, static_cast<std::int64_t>(Below(9000)) - 4500);
                break;
            case 2:
                Seek(std::ios_base::end, 50 - static_cast<std::int64_t>(Below(10000)));
                break;
            case 3:
                EXPECT_EQ(m_stream.get(), m_plain.get());
                break;
            case 4:
                EXPECT_EQ(m_stream.peek(), m_plain.peek());
                break;
            default:
                Read(Below(Below(4) == 0 ? 20000 : 300));
        }
        ExpectSameState();
    }

private:
    std::uint64_t Below(std::uint64_t bound) { return m_random() % bound; }

    void Seek(std::ios_base::seekdir direction, std::int64_t offset) {
        m_stream.seekg(offset, direction);
        m_plain.seekg(offset, direction);
    }

    void Read(std::uint64_t count) {
        CBytes bytes(count);
        CBytes expected(count);
        m_stream.read(bytes.data(), static_cast<std::streamsize>(count));
        m_plain.read(expected.data(), static_cast<std::streamsize>(count));
        EXPECT_EQ(m_stream.gcount(), m_plain.gcount());
        EXPECT_TRUE(bytes == expected);
    }

    void ExpectSameState() {
        EXPECT_EQ(m_stream.rdstate(), m_plain.rdstate());
        m_stream.clear();
        m_plain.clear();
        EXPECT_EQ(m_stream.tellg(), m_plain.tellg());
    }

    std::mt19937_64 m_random;
    CSourceStream m_stream{std::make_shared<CMemorySource>(Content())};
    CInputStream m_plain{Content()};
};

TEST(SourceBuffer, ReadsAndSeeksAsAPlainStream) {
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
        CTwin twin(seed);
        for (int step = 0; step < 500 && !testing::Test::HasFailure(); ++step) {
            twin.Step();
        }
        ASSERT_FALSE(testing::Test::HasFailure()) << "seed " << seed;
    }
}

TEST(SourceBuffer, ReadsShortPiecesTogether) {
    const auto source = std::make_shared<CMemorySource>(Content());
    CSourceStream stream(source);
    for (int i = 0; i < 40960; ++i) {
        stream.get();
    }
    EXPECT_TRUE(stream.good());
    EXPECT_EQ(source->Reads().size(), 10U);
}

TEST(SourceBuffer, ReadsLongPiecesStraightIntoTheirPlace) {
    const auto source = std::make_shared<CMemorySource>(Content());
    CSourceStream stream(source);
    CBytes bytes(20000);
    stream.seekg(77);
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    EXPECT_EQ(source->Reads(), (std::vector<CPortion>{Portion(77, 20000)}));
}

TEST(SourceBuffer, AShortReadNeedsNoMoreThanItsBytes) {
    const auto source = std::make_shared<CMemorySource>(Content());
    source->FailAt(3000, EIO);
    CSourceStream stream(source);
    CBytes bytes(2900);
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    EXPECT_TRUE(stream.good());
    EXPECT_TRUE(bytes == Pattern(1, 0, 2900));
    stream.read(bytes.data(), 101);
    EXPECT_TRUE(stream.fail());
    EXPECT_EQ(stream.gcount(), 0);
    stream.clear();
    EXPECT_EQ(stream.tellg(), std::streampos(2900));
    stream.seekg(3001);
    EXPECT_EQ(stream.get(), PatternByte(1, 3001));
}

TEST(SourceBuffer, ReachesNoPositionThatHasNoNumber) {
    CSourceStream stream(std::make_shared<CMemorySource>(Content()));
    stream.seekg(5);
    stream.seekg(std::numeric_limits<std::streamoff>::max(), std::ios_base::cur);
    EXPECT_TRUE(stream.fail());
    stream.clear();
    EXPECT_EQ(stream.tellg(), std::streampos(5));
}

}  // namespace
}  // namespace NTest
