#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vhdx_parser/vhdx_parser.h>

#include "tests/chain/chain_folder.h"
#include "tests/faults/failing_allocation.h"
#include "tests/faults/plain_stream.h"

// The memory runs out at every allocation while chains are built and merged.

namespace NTest {
namespace {

using CCircuit = NVHDX::NDifferencingVirtualMerge::CFileDataCircuit<char>;
using CRecord = NVHDX::NDifferencingVirtualMerge::CGetDifferentialResult<char>;
using CSources =
    std::vector<NVHDX::NSnapshotCircuit::CSource<std::shared_ptr<NVHDX::CFileObject<char>>>>;

class ChainAllocationFault : public testing::Test {
protected:
    ChainAllocationFault() {
        // Sectors of 2 bytes make chunks of 16 blocks, and so few lines to compose.
        folder.Add("base.vhdx", CImageBuilder().SectorSize(2).AllocateData(0, 1));
        folder.Add("child.avhdx", CImageBuilder()
                                      .SectorSize(2)
                                      .Differencing()
                                      .ParentLocator({{u"relative_path", u".\\base.vhdx"}})
                                      .AllocateSectorBitmap(0, CBytes{0xF0})
                                      .AllocatePartialData(0, 2)
                                      .AllocateData(1, 3));
        const bool isPrepared = NVHDX::NSnapshotCircuit::NBuilder::DoIt(sources, name) &&
                                NVHDX::NDifferencingVirtualMerge::Prepare(circuit, sources.at(0));
        EXPECT_TRUE(isPrepared);
    }

    CDeafWriter writer;
    CChainFolder folder;
    const std::string name = folder.Narrow();
    CSources sources;
    CCircuit circuit;
};

TEST_F(ChainAllocationFault, AFileOutOfMemoryIsClosed) {
    const auto path = std::make_shared<std::string>((folder / "child.avhdx").string());
    const std::size_t open = OpenFiles();
    EXPECT_GT(FailEveryAllocation(
                  [&] {
                      auto file = std::make_shared<NVHDX::CFileObject<char>>();
                      return file->Open(path);
                  },
                  [&] { return OpenFiles() == open; }),
              20u);
}

TEST_F(ChainAllocationFault, WalkingThroughAFolder) {
    const std::string mask = "*vhdx";
    const std::size_t open = OpenFiles();
    EXPECT_GT(FailEveryAllocation(
                  [&] {
                      std::size_t items = 0;
                      return NSystem::for_each_item_in_folder(name, &mask,
                                                              [&](auto&&...) {
                                                                  ++items;
                                                                  return true;
                                                              }) &&
                             items == 2;
                  },
                  [&] { return OpenFiles() == open; }),
              4u);
}

TEST_F(ChainAllocationFault, WalkingThroughAFolderByItsWideName) {
    const std::wstring wide = folder.Wide();
    EXPECT_GT(FailEveryAllocation(
                  [&] {
                      return NSystem::for_each_item_in_folder(wide, nullptr,
                                                              [](auto&&...) { return true; });
                  },
                  [] { return true; }),
              4u);
}

TEST_F(ChainAllocationFault, BuildingTheChainsClosesTheFiles) {
    const std::size_t open = OpenFiles();
    EXPECT_GT(FailEveryAllocation(
                  [&] {
                      CSources fresh;
                      return NVHDX::NSnapshotCircuit::NBuilder::DoIt(fresh, name) &&
                             fresh.size() == 1 && fresh[0].snapshots.size() == 1;
                  },
                  [&] { return OpenFiles() == open; }),
              50u);
}

TEST_F(ChainAllocationFault, Preparing) {
    EXPECT_GT(FailEveryAllocation(
                  [&] {
                      CCircuit fresh;
                      return Prepare(fresh, sources[0]) && fresh.differencing.size() == 1;
                  },
                  [] { return true; }),
              20u);
}

TEST_F(ChainAllocationFault, AskingForSectors) {
    const std::uint64_t offset = circuit.baseBlocksByOffset.begin()->first * MiB;
    EXPECT_GT(FailEveryAllocation(
                  [&] {
                      std::vector<CRecord> records;
                      GetDifferential(records, offset, 32, circuit);
                      return records.size() == 16;
                  },
                  [] { return true; }),
              0u);
}

TEST_F(ChainAllocationFault, Enumerating) {
    FailEveryAllocation(
        [&] {
            int runs = 0;
            return EnumerateDifferences(circuit,
                                        [&](auto&&...) {
                                            ++runs;
                                            return true;
                                        }) &&
                   runs == 2;
        },
        [] { return true; });
}

}  // namespace
}  // namespace NTest
