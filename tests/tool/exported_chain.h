#ifndef VHDX_PARSER_TESTS_TOOL_EXPORTED_CHAIN_H
#define VHDX_PARSER_TESTS_TOOL_EXPORTED_CHAIN_H

/// What the tests of `vhdx export` share: a chain, a folder for it, and the command.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/support/chain_model.h"
#include "tests/support/temporary_folder.h"
#include "tests/tool/vhdx_command.h"

namespace NTest {

/// Three files: blocks of each, sectors of the middle one, zeros over data, a grown disk that ends
/// inside a block.
inline CChainModel ThreeFiles() {
    CChainModel chain;
    chain.AddDisk(CDiskShape().Size(8 * MiB)).Present(1, 1).Present(2, 2).Present(3, 3);
    chain.Present(5, 4);
    chain.AddDisk(CDiskShape().Size(8 * MiB)).Partial(2, 5, {0, 1, 2, 9, 2047}).Present(4, 6);
    chain.Empty(3, CChainModel::zero, true);
    chain.AddDisk(CDiskShape().Size(11 * MiB - 512)).Partial(5, 7, {700}).Present(10, 8);
    return chain;
}

class Export : public testing::Test {
protected:
    CChildResult Run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "export");
        return RunVhdxIn(m_folder.Path(), arguments);
    }

    void ExpectDone(const std::vector<std::string>& arguments) const {
        const CChildResult result = Run(arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "");
    }

    std::vector<std::string> Files() const { return NamesIn(m_folder.Path()); }

    CTemporaryFolder m_folder;
};

}  // namespace NTest

#endif
