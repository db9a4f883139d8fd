#include <memory>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vhdx_parser/vhdx_parser.h>

#include "tests/faults/failing_allocation.h"
#include "tests/faults/plain_stream.h"
#include "tests/persist/xml_file_helpers.h"
#include "tests/support/image_builder.h"
#include "tests/support/temporary_folder.h"

// The memory runs out at every allocation of every request.

namespace NTest {
namespace {

const std::function<bool()> nothingToKeep = [] { return true; };

/// Sectors of 2 bytes make chunks of 16 blocks, and so few lines to compose.
CImageBuilder Builder() {
    return CImageBuilder()
        .SectorSize(2)
        .Differencing()
        .Log(NGuid::unknown, CLogEntry().Bytes())
        .AllocateSectorBitmap(0, CBytes{1, 2, 3})
        .AllocateData(0, 1)
        .AllocatePartialData(2, 2);
}

class AllocationFault : public testing::Test {
protected:
    AllocationFault() {
        EXPECT_TRUE(accessor.Entry(stream));
        EXPECT_TRUE(accessor.LoadBlocks(blocks, params, stream));
    }

    std::string Model() const { return Describe(blocks) + Describe(params); }

    CDeafWriter writer;
    CPlainStream stream{Builder().Build()};
    NVHDX::CAccessor accessor;
    NVHDX::CBlocks blocks;
    NVHDX::CFileParameters params;
    NVHDX::CDynamicAllocBuffer<unsigned char, unsigned __int64> growing;
};

TEST_F(AllocationFault, Entry) {
    EXPECT_GT(FailEveryAllocation(
                  [&] {
                      NVHDX::CAccessor fresh;
                      stream.clear();
                      stream.seekg(0);
                      return fresh.Entry(stream);
                  },
                  nothingToKeep),
              10u);
}

TEST_F(AllocationFault, TheRecordsOfItemsAreWrittenOnlyOnSuccess) {
    NVHDX::NMetadata::CFileParameters parameters;
    NVHDX::NMetadata::CVirtualDiskSize size;
    NVHDX::NMetadata::CPage83Data page83Data;
    NVHDX::NMetadata::CLogicalSectorSize logical;
    NVHDX::NMetadata::CPhysicalSectorSize physical;
    FailEveryAllocation(
        [&] {
            return accessor.Retrieve(parameters, stream) && accessor.Retrieve(size, stream) &&
                   accessor.Retrieve(page83Data, stream) && accessor.Retrieve(logical, stream) &&
                   accessor.Retrieve(physical, stream);
        },
        nothingToKeep);
    EXPECT_EQ(physical.sectorSize, 512);
}

TEST_F(AllocationFault, ParentLocator) {
    EXPECT_GT(FailEveryAllocation(
                  [&] {
                      NVHDX::NMetadata::CParent parent;
                      return accessor.Retrieve(parent, stream) && parent.entries.size() == 2;
                  },
                  nothingToKeep),
              4u);
}

TEST_F(AllocationFault, LoadBlocksLeavesTheModelAsItWas) {
    bool isKept = true;
    EXPECT_GT(FailEveryAllocation(
                  [&] {
                      NVHDX::CBlocks target;
                      NVHDX::CFileParameters targetParams;
                      target.ratio = 77;
                      try {
                          return accessor.LoadBlocks(target, targetParams, stream);
                      } catch (const std::bad_alloc&) {
                          isKept = target.ratio == 77 && target.chunks.empty() &&
                                   targetParams.logsectsz == 0xFFFF;
                          throw;
                      }
                  },
                  [&] { return isKept; }),
              10u);
}

TEST_F(AllocationFault, RawTable) {
    EXPECT_GT(FailEveryAllocation(
                  [&] {
                      NVHDX::CDynamicAllocBuffer<unsigned char, unsigned __int64> buffer;
                      return accessor.RequestBATData(stream, buffer, params, true) &&
                             accessor.RequestBATData(stream, buffer, params, false);
                  },
                  nothingToKeep),
              1u);
}

TEST_F(AllocationFault, PayloadDataInBothDirections) {
    const std::string before = Model();
    EXPECT_GT(
        FailEveryAllocation(
            [&] {
                NVHDX::CDynamicAllocBuffer<unsigned char, unsigned __int64> buffer;
                return RequestPayloadData(stream, blocks, 100, 3 * MiB, params, buffer, true) &&
                       RequestPayloadData(stream, blocks, 100, 3 * MiB, params, buffer, false);
            },
            [&] { return Model() == before; }),
        10u);
}

TEST_F(AllocationFault, AGrowingBufferKeepsItsBlock) {
    bool isKept = true;
    EXPECT_EQ(FailEveryAllocation(
                  [&] {
                      growing.Reserve(3);
                      growing.data[0] = 42;
                      try {
                          growing.Reserve(4096);
                      } catch (const std::bad_alloc&) {
                          isKept = growing.size == 3 && growing.data[0] == 42;
                          growing = {};
                          throw;
                      }
                      growing = {};
                      return true;
                  },
                  [&] { return isKept; }),
              2u);
}

TEST_F(AllocationFault, Positions) {
    EXPECT_GT(FailEveryAllocation(
                  [&] {
                      return RequestPayloadRealOffset(blocks, 1, 1, params) != 1 &&
                             RequestPayloadRealOffsets(blocks, 0, 16 * MiB, params).size() == 16;
                  },
                  nothingToKeep),
              1u);
}

TEST_F(AllocationFault, SectorBitmaps) {
    auto area = std::make_unique<NVHDX::CSectorBitmapArea>();
    EXPECT_GT(FailEveryAllocation(
                  [&] {
                      return RequestSectorBitmapData(stream, blocks, 0, *area, true) &&
                             RequestSectorBitmapData(stream, blocks, 0, *area, false);
                  },
                  nothingToKeep),
              1u);
}

TEST_F(AllocationFault, Iteration) {
    const std::map<std::uint64_t, std::uint64_t> ranges = {{0, 512}, {3 * MiB, 5 * MiB}};
    EXPECT_GT(FailEveryAllocation(
                  [&] {
                      int items = 0;
                      IterateOverBlocks(blocks, ranges, params, [&](auto&&...) { ++items; });
                      return items == 3;
                  },
                  nothingToKeep),
              4u);
}

TEST_F(AllocationFault, ChunksMadeByHand) {
    EXPECT_GT(FailEveryAllocation(
                  [&] {
                      NVHDX::CBlockChunk chunk;
                      chunk.Init(4);
                      chunk.InitPayloadBlock(NVHDX::CPayloadBlock::FullyPresent, 1);
                      chunk.InitPayloadBlock(NVHDX::CPayloadBlock::NotPresent, 2);
                      std::vector<NVHDX::CPayloadBlock> list(3);
                      chunk.AddAllPayloadBlocks(list);
                      auto bitmap = std::make_unique<NVHDX::CSectorBitmapBlock>();
                      chunk.Set(bitmap);
                      return chunk.getCount() == 3;
                  },
                  nothingToKeep),
              2u);
}

TEST_F(AllocationFault, SavingAModel) {
    const CTemporaryFolder folder;
    const std::wstring name = folder.Wide() + L"/model.xml";
    const std::string before = Model();
    EXPECT_GT(FailEveryAllocation(
                  [&] {
                      NVHDX::VHDXMetadataSerialize(name, blocks, params);
                      return true;
                  },
                  [&] { return Model() == before; }),
              50u);
}

TEST_F(AllocationFault, LoadingAModelLeavesTheOldOne) {
    const CTemporaryFolder folder;
    const std::wstring name = folder.Wide() + L"/model.xml";
    NVHDX::VHDXMetadataSerialize(name, blocks, params);
    bool isKept = true;
    EXPECT_GT(FailEveryAllocation(
                  [&] {
                      NVHDX::CBlocks loaded;
                      NVHDX::CFileParameters loadedParams;
                      loaded.ratio = 77;
                      try {
                          NVHDX::VHDXMetadataDeserialize(name, loaded, loadedParams);
                      } catch (const std::bad_alloc&) {
                          isKept = loaded.ratio == 77 && loadedParams.logsectsz == 0xFFFF;
                          throw;
                      }
                      return loaded.ratio == blocks.ratio;
                  },
                  [&] { return isKept; }),
              50u);
}

}  // namespace
}  // namespace NTest
