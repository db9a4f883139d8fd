#include <filesystem>
#include <locale>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <vhdx_parser/snapshot_chain.h>

#include "tests/chain/chain_folder.h"
#include "tests/support/test_stream.h"

namespace {

using NTest::Line;
using NTest::PathText;

constexpr std::uint64_t allOnes = 0xFFFFFFFFFFFFFFFF;

template <class TChar>
class FileObject : public ::testing::Test {
protected:
    void SetUp() override { m_folder.AddBase("disk.vhdx"); }

    std::shared_ptr<std::basic_string<TChar>> PathOf(const std::filesystem::path& name) const {
        return std::make_shared<std::basic_string<TChar>>(PathText<TChar>(m_folder / name));
    }

    /// Lets a file object, once opened, read from a stream buffer of the test's own.
    static void ReadFrom(NVHDX::CFileObject<TChar>& file, NTest::CTestStreamBuffer& buffer) {
        static_cast<std::basic_ios<unsigned char>&>(file.stream).rdbuf(&buffer);
    }

    void ExpectUntouched() const {
        EXPECT_EQ(m_file.path, nullptr);
        EXPECT_EQ(m_file.size, allOnes);
    }

    NTest::CChainFolder m_folder;
    NVHDX::CFileObject<TChar> m_file;
};
TYPED_TEST_SUITE(FileObject, NTest::TCharacterTypes);

TYPED_TEST(FileObject, IsEmptyUntilItWasOpened) {
    this->ExpectUntouched();
    EXPECT_FALSE(this->m_file.stream.is_open());
}

TYPED_TEST(FileObject, KeepsPathSizeAndOpenStream) {
    const auto path = this->PathOf("disk.vhdx");
    ASSERT_TRUE(this->m_file.Open(path));
    EXPECT_EQ(this->m_file.path, path);
    EXPECT_EQ(this->m_file.size, std::filesystem::file_size(this->m_folder / "disk.vhdx"));
    EXPECT_TRUE(this->m_file.stream.is_open());
    EXPECT_EQ(static_cast<std::uint64_t>(this->m_file.stream.tellg()), this->m_file.size);
}

TYPED_TEST(FileObject, AnswersRequestsWhenOpened) {
    ASSERT_TRUE(this->m_file.Open(this->PathOf("disk.vhdx")));
    NVHDX::NMetadata::CVirtualDiskSize diskSize;
    EXPECT_TRUE(this->m_file.accessor.Retrieve(diskSize, this->m_file.stream));
    EXPECT_EQ(diskSize.size, 16777216u);
}

TYPED_TEST(FileObject, LeavesTheLocaleOfItsStreamAlone) {
    const std::locale before = this->m_file.stream.getloc();
    ASSERT_TRUE(this->m_file.Open(this->PathOf("disk.vhdx")));
    EXPECT_EQ(this->m_file.stream.getloc(), before);
    EXPECT_EQ(this->m_file.stream.rdbuf()->getloc(), before);
}

TYPED_TEST(FileObject, RefusesNoPathWithoutALine) {
    NTest::CTraceCapture trace;
    EXPECT_FALSE(this->m_file.Open(nullptr));
    EXPECT_TRUE(trace.Lines().empty());
    this->ExpectUntouched();
}

TYPED_TEST(FileObject, RefusesAMissingFileWithoutALine) {
    NTest::CTraceCapture trace;
    EXPECT_FALSE(this->m_file.Open(this->PathOf("missing.vhdx")));
    EXPECT_TRUE(trace.Lines().empty());
    this->ExpectUntouched();
}

TYPED_TEST(FileObject, RefusesAFileThatIsNoContainer) {
    this->m_folder.Add("bad.vhdx", NTest::CImageBuilder().FileSize(100));
    NTest::CTraceCapture trace;
    EXPECT_FALSE(this->m_file.Open(this->PathOf("bad.vhdx")));
    EXPECT_EQ(trace.LinesAt(3), (std::vector{Line(3, "Reading failed Stream Portion Reading")}));
    this->ExpectUntouched();
}

TYPED_TEST(FileObject, CannotBeOpenedTwice) {
    const auto path = this->PathOf("disk.vhdx");
    ASSERT_TRUE(this->m_file.Open(path));
    NTest::CTraceCapture trace;
    EXPECT_FALSE(this->m_file.Open(this->PathOf("disk.vhdx")));
    EXPECT_EQ(trace.Lines(), (std::vector{Line(4, "Reading size: 520"),
                                          Line(3, "Reading failed Stream Portion Reading")}));
    EXPECT_EQ(this->m_file.path, path);
}

TYPED_TEST(FileObject, RefusesAStreamThatCannotSeekToItsEnd) {
    auto image = NTest::CImageBuilder().Build();
    NTest::CTestStreamBuffer whole(image);
    NVHDX::CFileObject<TypeParam> reference;
    this->ReadFrom(reference, whole);
    ASSERT_TRUE(reference.Open(this->PathOf("disk.vhdx")));
    const auto seeks = whole.Seeks();
    ASSERT_EQ(seeks.back(), image.Size());

    NTest::CTestStreamBuffer failing(image);
    failing.FailSeek(seeks.size());
    this->ReadFrom(this->m_file, failing);
    EXPECT_FALSE(this->m_file.Open(this->PathOf("disk.vhdx")));
    EXPECT_EQ(failing.Seeks(), seeks);
    this->ExpectUntouched();
}

/// A stream that seeks but cannot tell where it stands.
class CSilentBuffer : public NTest::CTestStreamBuffer {
public:
    using NTest::CTestStreamBuffer::CTestStreamBuffer;

protected:
    pos_type seekoff(off_type offset, std::ios_base::seekdir direction,
                     std::ios_base::openmode which) override {
        const bool asks = offset == 0 && direction == std::ios_base::cur;
        return asks ? pos_type(off_type(-1))
                    : NTest::CTestStreamBuffer::seekoff(offset, direction, which);
    }
};

TYPED_TEST(FileObject, HasNoSizeWhenTheStreamCannotTellIt) {
    auto image = NTest::CImageBuilder().Build();
    CSilentBuffer buffer(image);
    this->ReadFrom(this->m_file, buffer);
    this->m_file.size = 1;
    const auto path = this->PathOf("disk.vhdx");
    EXPECT_TRUE(this->m_file.Open(path));
    EXPECT_EQ(this->m_file.size, allOnes);
    EXPECT_EQ(this->m_file.path, path);
}

}  // namespace
