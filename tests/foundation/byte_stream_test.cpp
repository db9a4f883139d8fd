#include <vhdx_parser/byte_stream.h>

#include <algorithm>
#include <fstream>
#include <locale>

#include <gtest/gtest.h>

#include "tests/support/content_pattern.h"
#include "tests/support/sparse_image.h"
#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

using CInputFile = std::basic_ifstream<unsigned char>;
using COutputFile = std::basic_ofstream<unsigned char>;

/// Larger than any buffer of a file stream, and no multiple of one.
constexpr std::uint64_t LargeSize = 5 * MiB + 13;

class ByteStream : public testing::Test {
protected:
    /// A file of pattern bytes.
    std::filesystem::path File(std::uint64_t size) {
        CSparseImage image;
        image.Write(0, Pattern(1, 0, size));
        image.WriteTo(m_folder / "disk.vhdx");
        return m_folder / "disk.vhdx";
    }

    static void Open(CInputFile& file, const std::filesystem::path& path) {
        NByteStream::Imbue(file);
        file.open(path, std::ios::in | std::ios::binary);
        ASSERT_TRUE(file.is_open());
    }

    static CBytes Read(CInputFile& file, std::uint64_t count) {
        CBytes bytes(count);
        file.read(bytes.data(), static_cast<std::streamsize>(count));
        return bytes;
    }

    CTemporaryFolder m_folder;
};

#if defined(__GLIBCXX__)
TEST_F(ByteStream, WithoutImbueTheFileOpensAndEveryReadFails) {
    CInputFile file(File(100), std::ios::in | std::ios::binary);
    ASSERT_TRUE(file.is_open());
    Read(file, 1);
    EXPECT_TRUE(file.bad());
}
#endif

TEST_F(ByteStream, ReadsASmallPortion) {
    CInputFile file;
    Open(file, File(100));
    EXPECT_EQ(Read(file, 100), Pattern(1, 0, 100));
    EXPECT_TRUE(file.good());
}

TEST_F(ByteStream, ReadsEveryValueOfAByteUnchanged) {
    CBytes all(256);
    for (std::size_t value = 0; value < all.size(); ++value) {
        all[value] = static_cast<unsigned char>(value);
    }
    CSparseImage image;
    image.Write(0, all);
    image.WriteTo(m_folder / "disk.vhdx");
    CInputFile file;
    Open(file, m_folder / "disk.vhdx");
    EXPECT_EQ(Read(file, 256), all);
}

TEST_F(ByteStream, ReadsALargePortionAtOnce) {
    CInputFile file;
    Open(file, File(LargeSize));
    EXPECT_TRUE(Read(file, LargeSize) == Pattern(1, 0, LargeSize));
    EXPECT_TRUE(file.good());
}

TEST_F(ByteStream, ReadsAtAnyPositionInAnyOrder) {
    CInputFile file;
    Open(file, File(LargeSize));
    for (const std::uint64_t position : {4 * MiB + 1, std::uint64_t{3}, 2 * MiB}) {
        file.seekg(static_cast<std::streamoff>(position));
        EXPECT_TRUE(Read(file, MiB) == Pattern(1, position, MiB)) << position;
        EXPECT_EQ(std::streamoff(file.tellg()), static_cast<std::streamoff>(position + MiB));
    }
}

TEST_F(ByteStream, ReadUpToTheLastByteIsGood) {
    CInputFile file;
    Open(file, File(LargeSize));
    file.seekg(static_cast<std::streamoff>(LargeSize - 10));
    EXPECT_EQ(Read(file, 10), Pattern(1, LargeSize - 10, 10));
    EXPECT_TRUE(file.good());
}

TEST_F(ByteStream, ReadPastTheEndFails) {
    CInputFile file;
    Open(file, File(100));
    file.seekg(90);
    Read(file, 11);
    EXPECT_TRUE(file.fail());
    EXPECT_TRUE(file.eof());
    EXPECT_EQ(file.gcount(), 10);
}

TEST_F(ByteStream, SeekPastTheEndSucceedsAndTheReadThereFails) {
    CInputFile file;
    Open(file, File(100));
    EXPECT_TRUE(file.seekg(1000).good());
    Read(file, 1);
    EXPECT_TRUE(file.fail());
}

TEST_F(ByteStream, WritesWhatIsReadBack) {
    const CBytes content = Pattern(2, 0, LargeSize);
    {
        COutputFile file;
        NByteStream::Imbue(file);
        file.open(m_folder / "disk.vhdx", std::ios::out | std::ios::binary);
        file.write(content.data(), static_cast<std::streamsize>(content.size()));
        EXPECT_TRUE(file.good());
    }
    CInputFile file;
    Open(file, m_folder / "disk.vhdx");
    EXPECT_TRUE(Read(file, LargeSize) == content);
    EXPECT_EQ(file.get(), std::char_traits<unsigned char>::eof());
}

TEST_F(ByteStream, ServesBothDirectionsOnOneFile) {
    std::basic_fstream<unsigned char> file;
    NByteStream::Imbue(file);
    file.open(File(100), std::ios::in | std::ios::out | std::ios::binary);
    const CBytes written{1, 2, 3};
    file.seekp(50).write(written.data(), 3);
    CBytes bytes(5);
    file.seekg(49).read(bytes.data(), 5);
    EXPECT_TRUE(file.good());
    EXPECT_EQ(bytes, (CBytes{PatternByte(1, 49), 1, 2, 3, PatternByte(1, 53)}));
}

/// Marks a locale, so that the tests see whether it is kept.
struct CMark : std::numpunct<char> {
    char do_decimal_point() const override { return '!'; }
};

TEST_F(ByteStream, ImbueKeepsTheRestOfTheLocale) {
    CInputFile file;
    file.imbue(std::locale(std::locale::classic(), new CMark));
    NByteStream::Imbue(file);
    EXPECT_EQ(std::use_facet<std::numpunct<char>>(file.getloc()).decimal_point(), '!');
}

TEST_F(ByteStream, ImbueTwiceDoesNoHarm) {
    CInputFile file;
    NByteStream::Imbue(file);
    Open(file, File(100));
    EXPECT_EQ(Read(file, 100), Pattern(1, 0, 100));
}

#if defined(__GLIBCXX__)

using CFacet = std::codecvt<unsigned char, char, std::mbstate_t>;

class ByteStreamFacet : public testing::Test {
protected:
    ByteStreamFacet() { NByteStream::Imbue(m_file); }

    const CFacet& Facet() const { return std::use_facet<CFacet>(m_file.getloc()); }

    CInputFile m_file;
    std::mbstate_t m_state{};
};

TEST_F(ByteStreamFacet, SaysThatBytesNeedNoConversion) {
    EXPECT_TRUE(Facet().always_noconv());
    EXPECT_EQ(Facet().encoding(), 1);
    EXPECT_EQ(Facet().max_length(), 1);
}

TEST_F(ByteStreamFacet, CountsOneByteForEachCharacter) {
    const char bytes[10] = {};
    EXPECT_EQ(Facet().length(m_state, bytes, bytes + 10, 4), 4);
    EXPECT_EQ(Facet().length(m_state, bytes, bytes + 10, 100), 10);
}

TEST_F(ByteStreamFacet, ConvertsNothing) {
    const unsigned char internal[2] = {1, 2};
    char external[2] = {};
    const unsigned char* internalNext = nullptr;
    char* externalNext = nullptr;
    EXPECT_EQ(Facet().out(m_state, internal, internal + 2, internalNext, external, external + 2,
                          externalNext),
              std::codecvt_base::noconv);
    EXPECT_EQ(internalNext, internal);
    EXPECT_EQ(externalNext, external);

    EXPECT_EQ(Facet().unshift(m_state, external, external + 2, externalNext),
              std::codecvt_base::noconv);
    EXPECT_EQ(externalNext, external);

    const char* from = nullptr;
    unsigned char target[2] = {};
    unsigned char* to = nullptr;
    EXPECT_EQ(Facet().in(m_state, external, external + 2, from, target, target + 2, to),
              std::codecvt_base::noconv);
    EXPECT_EQ(from, external);
    EXPECT_EQ(to, target);
}

#endif

}  // namespace
}  // namespace NTest
