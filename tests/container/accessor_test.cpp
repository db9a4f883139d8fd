#include <vhdx_parser/accessor.h>

#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_parser/byte_stream.h>

#include "tests/container/opening.h"
#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

using NVHDX::CAccessor;
using testing::IsEmpty;

/// Two containers that differ in the place of the BAT and in the block size.
CImageBuilder FirstFile() {
    return CImageBuilder().BlockSize(1 * MiB).BatOffset(3 * MiB);
}
CImageBuilder SecondFile() {
    return CImageBuilder().BlockSize(32 * MiB).BatOffset(5 * MiB);
}

bool Opens(CAccessor& accessor, const CImageBuilder& builder) {
    CInputStream stream(builder.Build());
    return accessor.Entry(stream);
}

/// The block size that the accessor finds in a container, 0 when it finds none.
std::uint32_t BlockSize(const CAccessor& accessor, const CImageBuilder& builder) {
    CInputStream stream(builder.Build());
    NVHDX::NMetadata::CFileParameters parameters;
    return accessor.Retrieve(parameters, stream) ? parameters.blockSize : 0;
}

TEST(Accessor, StartsEmpty) {
    const CAccessor accessor;
    EXPECT_EQ(accessor.RequestBATOffset(), 0);
    EXPECT_EQ(BlockSize(accessor, FirstFile()), 0u);
}

TEST(Accessor, KeepsWhereTheBatLies) {
    CAccessor accessor;
    EXPECT_TRUE(Opens(accessor, SecondFile()));
    EXPECT_EQ(accessor.RequestBATOffset(), 5 * static_cast<std::int64_t>(MiB));
}

TEST(Accessor, ClearForgetsEverything) {
    CAccessor accessor;
    EXPECT_TRUE(Opens(accessor, FirstFile()));
    accessor.Clear();
    EXPECT_EQ(accessor.RequestBATOffset(), 0);
    EXPECT_EQ(BlockSize(accessor, FirstFile()), 0u);
}

TEST(Accessor, ClearedAccessorOpensAnotherFile) {
    CAccessor accessor;
    EXPECT_TRUE(Opens(accessor, FirstFile()));
    accessor.Clear();
    EXPECT_TRUE(Opens(accessor, SecondFile()));
    EXPECT_EQ(accessor.RequestBATOffset(), 5 * static_cast<std::int64_t>(MiB));
    EXPECT_EQ(BlockSize(accessor, SecondFile()), 32 * MiB);
}

TEST(Accessor, EntryWithoutClearKeepsTheFirstFilesRecords) {
    CAccessor accessor;
    EXPECT_TRUE(Opens(accessor, FirstFile()));
    EXPECT_TRUE(Opens(accessor, SecondFile()));
    EXPECT_EQ(accessor.RequestBATOffset(), 3 * static_cast<std::int64_t>(MiB));
}

TEST(Accessor, EntryWithoutClearAddsWhatTheFirstFileDidNotHave) {
    CAccessor accessor;
    const CImageBuilder without = FirstFile().EditMetadata(
        [](CMetadataTable& table) { table.Remove(NGuid::fileParameters); });
    EXPECT_TRUE(Opens(accessor, without));
    EXPECT_EQ(BlockSize(accessor, SecondFile()), 0u);
    EXPECT_TRUE(Opens(accessor, SecondFile()));
    EXPECT_EQ(BlockSize(accessor, SecondFile()), 32 * MiB);
}

TEST(Accessor, FailedEntryKeepsWhatItStored) {
    CAccessor accessor;
    EXPECT_FALSE(Opens(
        accessor, FirstFile().EditMetadata([](CMetadataTable& table) { table.signature = 0; })));
    EXPECT_EQ(accessor.RequestBATOffset(), 3 * static_cast<std::int64_t>(MiB));
    EXPECT_TRUE(Opens(accessor, SecondFile()));
    EXPECT_EQ(accessor.RequestBATOffset(), 3 * static_cast<std::int64_t>(MiB));
}

TEST(Accessor, CopyAnswersAsTheOriginalDoes) {
    CAccessor accessor;
    EXPECT_TRUE(Opens(accessor, SecondFile()));
    const CAccessor copy = accessor;
    accessor.Clear();
    EXPECT_EQ(copy.RequestBATOffset(), 5 * static_cast<std::int64_t>(MiB));
    EXPECT_EQ(BlockSize(copy, SecondFile()), 32 * MiB);
}

TEST(Accessor, OpensARealFile) {
    const CTemporaryFolder folder;
    SecondFile().Differencing().Build().WriteTo(folder / "disk.vhdx");
    std::basic_ifstream<unsigned char> file;
    NByteStream::Imbue(file);
    file.open(folder / "disk.vhdx", std::ios::in | std::ios::binary);
    CAccessor accessor;
    EXPECT_TRUE(Open(accessor, file).opened);
    NVHDX::NMetadata::CFileParameters parameters;
    EXPECT_TRUE(accessor.Retrieve(parameters, file));
    EXPECT_EQ(parameters.blockSize, 32 * MiB);
    EXPECT_TRUE(parameters.hasParent);
}

// The language lets an explicit instantiation name private members. This is the only way to an
// accessor that holds items and no region, which no file leaves behind.
using CRegions = std::map<CAccessor::CRegion::EType, CAccessor::CRegion>;

CRegions& RegionsOf(CAccessor& accessor);

template <CRegions CAccessor::*Member>
struct CReach {
    friend CRegions& RegionsOf(CAccessor& accessor) { return accessor.*Member; }
};
template struct CReach<&CAccessor::m_regions>;

TEST(Accessor, ItemWithoutAMetadataRegionHasABadPosition) {
    CAccessor accessor;
    const CImageBuilder builder = FirstFile().Differencing();
    EXPECT_TRUE(Opens(accessor, builder));
    RegionsOf(accessor).clear();
    CInputStream stream(builder.Build());
    CTraceCapture trace;
    NVHDX::NMetadata::CFileParameters parameters;
    EXPECT_FALSE(accessor.Retrieve(parameters, stream));
    NVHDX::NMetadata::CParent parent;
    EXPECT_FALSE(accessor.Retrieve(parent, stream));
    EXPECT_EQ(trace.Lines(), (Lines(Line(3, "FILE_PARAMETERS_METADATA bad MetadataPosition"),
                                    Line(3, "PARENT_METADATA bad MetadataPosition"))));
    EXPECT_THAT(stream.Buffer().Reads(), IsEmpty());
}

}  // namespace
}  // namespace NTest
