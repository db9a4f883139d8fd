#include <sys/resource.h>

#include <cstdio>

#include <gtest/gtest.h>

#include <vhdx_disk/reader.h>

#include "tests/support/chain_model.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

using NVHDXDisk::CDisk;
using NVHDXDisk::CFailure;
using NVHDXDisk::CReader;

/// A chain whose every file has a block that nobody hides.
CChainModel LongChain(std::size_t files) {
    CChainModel chain;
    for (std::size_t file = 0; file < files; ++file) {
        chain.AddDisk(CDiskShape().Size(files * MiB)).Present(file, file + 1);
    }
    return chain;
}

bool LimitDescriptors(rlim_t most) {
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return false;
    }
    limit.rlim_cur = most;
    return setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

/// What a process says that may open no more than so many files.
std::string ReadWith(rlim_t descriptors, const std::filesystem::path& newest,
                     const CBytes& content) {
    if (!LimitDescriptors(descriptors)) {
        return "the limit cannot be set";
    }
    CFailure failure;
    const auto disk = CDisk::Open(newest, {}, failure);
    CBytes bytes(content.size());
    if (disk == nullptr || !CReader(disk).Read(0, bytes.data(), bytes.size(), failure)) {
        return failure.text;
    }
    return bytes == content ? "as the model" : "other bytes";
}

TEST(DescriptorLimit, ALongChainNeedsFewerDescriptorsThanItHasFiles) {
    constexpr std::size_t files = 100;
    const CTemporaryFolder folder;
    const CChainModel chain = LongChain(files);
    chain.WriteTo(folder.Path());
    const CChildResult result = RunForked([&] {
        const std::string said =
            ReadWith(80, folder / CChainModel::Name(files - 1), chain.Content());
        std::fputs(said.c_str(), stdout);
        return std::fflush(stdout);
    });
    EXPECT_EQ(result.output, "as the model");
    EXPECT_EQ(result.status, 0) << result.errors;
}

}  // namespace
}  // namespace NTest
