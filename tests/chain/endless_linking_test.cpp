// The linking of some folders never ends: it runs in a process that can be ended.

#include <chrono>
#include <future>
#include <vector>

#include <gtest/gtest.h>

#include "tests/chain/chain_folder.h"
#include "tests/support/child_process.h"

namespace {

/// Builds the chains of the folder in a process of its own, which is ended at the deadline.
NTest::CChildResult BuildChains(const NTest::CChainFolder& folder, std::chrono::seconds deadline) {
    NTest::CChildOptions options;
    options.timeout = deadline;
    return NTest::RunChild({VHDX_PARSER_BUILD_CHAINS, folder.Narrow()}, options);
}

TEST(EndlessLinking, GoesOnWhileADiskCanNeverBeAttached) {
    NTest::CChainFolder twoChildren;
    twoChildren.AddBase("base.vhdx");
    twoChildren.AddChild("a.avhdx", u"base.vhdx");
    twoChildren.AddChild("b.avhdx", u"base.vhdx");

    NTest::CChainFolder cycle;
    cycle.AddBase("base.vhdx");
    cycle.AddChild("a.avhdx", u"b.avhdx");
    cycle.AddChild("b.avhdx", u"a.avhdx");

    NTest::CChainFolder cycleWithoutBase;
    cycleWithoutBase.AddChild("a.avhdx", u"b.avhdx");
    cycleWithoutBase.AddChild("b.avhdx", u"a.avhdx");

    NTest::CChainFolder parentIsNotTheTip;
    parentIsNotTheTip.AddBase("base.vhdx");
    parentIsNotTheTip.AddChild("a.avhdx", u"base.vhdx");
    parentIsNotTheTip.AddChild("b.avhdx", u"a.avhdx");
    parentIsNotTheTip.AddChild("c.avhdx", u"a.avhdx");

    const NTest::CChainFolder* const folders[] = {&twoChildren, &cycle, &cycleWithoutBase,
                                                  &parentIsNotTheTip};
    std::vector<std::future<NTest::CChildResult>> results;
    for (const NTest::CChainFolder* folder : folders) {
        results.push_back(std::async(std::launch::async, [folder] {
            return BuildChains(*folder, std::chrono::seconds(1));
        }));
    }
    for (std::size_t i = 0; i < results.size(); ++i) {
        EXPECT_TRUE(results[i].get().timedOut) << "folder " << i;
    }
}

TEST(EndlessLinking, IsNoMatterOfFoldersWhereEveryDiskIsAttached) {
    NTest::CChainFolder folder;
    folder.AddBase("base.vhdx");
    folder.AddChild("a.avhdx", u"base.vhdx");
    const NTest::CChildResult result = BuildChains(folder, std::chrono::seconds(60));
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.status, 0);
}

}  // namespace
