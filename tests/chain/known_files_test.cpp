// A host that puts a chain together from files that it knows by their paths, on the shared library.

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vhdx_parser/vhdx_parser.h>

#include "tests/support/character_types.h"
#include "tests/support/image_builder.h"
#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

namespace fs = std::filesystem;
using namespace NVHDX;

/// One file that holds block 0, whole.
CImageBuilder Base() {
    return CImageBuilder().AllocateData(0, 1);
}

/// The first eight sectors of block 0, on top of it.
CImageBuilder Checkpoint() {
    return CImageBuilder()
        .Differencing()
        .ParentLocator({{u"relative_path", u"..\\elsewhere\\disk.vhdx"}})
        .AllocatePartialData(0, 2)
        .AllocateSectorBitmap(0, CBytes{0xFF});
}

template <class TChar>
class KnownFiles : public testing::Test {
protected:
    using TFile = std::shared_ptr<CFileObject<TChar>>;

    KnownFiles() {
        fs::create_directory(m_folder / "bases");
        fs::create_directory(m_folder / "checkpoints");
        Base().Build().WriteTo(m_folder / "bases/disk.vhdx");
        Checkpoint().Build().WriteTo(m_folder / "checkpoints/disk.avhdx");
    }

    std::shared_ptr<std::basic_string<TChar>> PathOf(const fs::path& name) const {
        return std::make_shared<std::basic_string<TChar>>(PathText<TChar>(m_folder / name));
    }

    TFile Opened(const fs::path& name) const {
        auto file = std::make_shared<CFileObject<TChar>>();
        EXPECT_TRUE(file->Open(PathOf(name)));
        return file;
    }

    /// The base in one folder with its checkpoint in another.
    NSnapshotCircuit::CSource<TFile> Source() const {
        return {Opened("bases/disk.vhdx"), {Opened("checkpoints/disk.avhdx")}};
    }

    CTemporaryFolder m_folder;
};
TYPED_TEST_SUITE(KnownFiles, TCharacterTypes);

TYPED_TEST(KnownFiles, OfTwoFoldersArePrepared) {
    auto source = this->Source();
    NDifferencingVirtualMerge::CFileDataCircuit<TypeParam> circuit;
    ASSERT_TRUE(NDifferencingVirtualMerge::Prepare(circuit, source));
    EXPECT_EQ(*circuit.base.path, *this->PathOf("bases/disk.vhdx"));
    std::vector<std::uint64_t> run;
    EXPECT_TRUE(NDifferencingVirtualMerge::EnumerateDifferences(
        circuit, [&](std::uint64_t baseOffset, std::shared_ptr<std::basic_string<TypeParam>>& path,
                     std::uint64_t offset, std::uint64_t length) {
            EXPECT_EQ(*path, *this->PathOf("checkpoints/disk.avhdx"));
            run = {baseOffset, offset, length};
            return true;
        }));
    EXPECT_EQ(run, (std::vector<std::uint64_t>{Base().BlockPosition(0),
                                               Checkpoint().BlockPosition(0), 4096}));
}

TYPED_TEST(KnownFiles, AreReadThroughTheHostsStream) {
    const auto base = this->Opened("bases/disk.vhdx");
    EXPECT_EQ(base->size, fs::file_size(this->m_folder / "bases/disk.vhdx"));
    CBlocks blocks;
    CFileParameters parameters;
    ASSERT_TRUE(base->accessor.LoadBlocks(blocks, parameters, base->stream));
    CDynamicAllocBuffer<unsigned char, unsigned __int64> buffer;
    ASSERT_TRUE(RequestPayloadData(base->stream, blocks, 0, 4096, parameters, buffer, true));
    EXPECT_EQ(CBytes(buffer.data, buffer.data + 4096), Pattern(1, 0, 4096));
}

TYPED_TEST(KnownFiles, ThatAreNoneAreRefused) {
    CFileObject<TypeParam> file;
    EXPECT_FALSE(file.Open(nullptr));
    EXPECT_FALSE(file.Open(this->PathOf("bases")));
    EXPECT_FALSE(file.Open(this->PathOf("bases/missing.vhdx")));
    EXPECT_EQ(file.path, nullptr);
}

}  // namespace
}  // namespace NTest
