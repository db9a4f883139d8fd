#include <array>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#if !defined(_WIN32)
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#endif
#include <vhdx_parser/differencing_merge.h>
#include <vhdx_parser/snapshot_chain.h>

#include "tests/hostile/hostile_disk.h"
#include "tests/support/trace_capture.h"

// Things with a disk's name that are no files: none may block the caller or be read.

namespace NTest {
namespace {

using CSources =
    std::vector<NVHDX::NSnapshotCircuit::CSource<std::shared_ptr<NVHDX::CFileObject<char>>>>;

/// Builds the chains of the folder and tells the lines of level 3 and the result.
std::string BuildChains(const CTemporaryFolder& folder) {
    const CTraceCapture trace;
    CSources sources;
    const bool isBuilt = NVHDX::NSnapshotCircuit::NBuilder::DoIt(sources, folder.Narrow());
    std::string report;
    for (const CTraceLine& line : trace.LinesAt(3)) {
        report.append(line.text).append("\n");
    }
    return report.append(isBuilt ? "true" : "false");
}

#if !defined(_WIN32)

struct CHostileThing {
    std::string name;
    std::function<bool(const std::filesystem::path&)> make;
};

bool MakeSocket(const std::filesystem::path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string text = path.string();
    if (text.size() >= sizeof(address.sun_path)) {
        return false;
    }
    text.copy(address.sun_path, text.size());
    const int socketFile = socket(AF_UNIX, SOCK_STREAM, 0);
    const bool isBound =
        bind(socketFile, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    close(socketFile);
    return isBound;
}

bool MakeLink(const char* target, const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::create_symlink(target, path, error);
    return !error;
}

std::vector<CHostileThing> Things() {
    return {
        {"Pipe", [](const auto& path) { return mkfifo(path.c_str(), 0600) == 0; }},
        {"Socket", MakeSocket},
        {"LinkToADeviceOfEndlessZeros",
         [](const auto& path) { return MakeLink("/dev/zero", path); }},
        {"LinkToADeviceWithoutContent",
         [](const auto& path) { return MakeLink("/dev/null", path); }},
        {"LinkToNothing", [](const auto& path) { return MakeLink("nothing.there", path); }},
        {"LinkToItself", [](const auto& path) { return MakeLink(path.c_str(), path); }},
    };
}

class HostileFolder : public testing::TestWithParam<CHostileThing> {};

TEST_P(HostileFolder, IsRefusedAtOnce) {
    const CTemporaryFolder folder;
    CImageBuilder().Build().WriteTo(folder / "base.vhdx");
    ASSERT_EQ(BuildChains(folder), "true");
    ASSERT_TRUE(GetParam().make(folder / "hostile.avhdx"));
    const CMeasuredRun run = RunMeasured([&] { return BuildChains(folder); });
    ExpectHarmless(run);
    EXPECT_EQ(run.result, "opening file error\nfalse");
}

INSTANTIATE_TEST_SUITE_P(Table, HostileFolder, testing::ValuesIn(Things()),
                         [](const auto& thing) { return thing.param.name; });

#endif

TEST(HostileFolderItem, AFolderWithADisksNameIsPassedOver) {
    const CTemporaryFolder folder;
    CImageBuilder().Build().WriteTo(folder / "base.vhdx");
    std::filesystem::create_directory(folder / "folder.vhdx");
    EXPECT_EQ(RunMeasured([&] { return BuildChains(folder); }).result, "true");
}

/// Three chunks under one: where the differencing disk has none, the sector is the base's.
TEST(HostileFolderItem, ADifferencingDiskWithFewerChunksThanItsBase) {
    const CTemporaryFolder folder;
    CImageBuilder()
        .VirtualSize(9 * GiB)
        .PayloadBlock(8192, 6, 4)
        .Build()
        .WriteTo(folder / "base.vhdx");
    CImageBuilder()
        .Differencing()
        .ParentLocator({{u"relative_path", u".\\base.vhdx"}})
        .AllocateData(0, CBytes{1})
        .Build()
        .WriteTo(folder / "child.avhdx");
    const CMeasuredRun run = RunMeasured([&] {
        CSources sources;
        NVHDX::NDifferencingVirtualMerge::CFileDataCircuit<char> circuit;
        std::string report;
        if (NVHDX::NSnapshotCircuit::NBuilder::DoIt(sources, folder.Narrow()) &&
            Prepare(circuit, sources.front()) &&
            EnumerateDifferences(circuit, [&](auto, auto&, auto offset, auto length) {
                report.append(std::to_string(offset / MiB)).append(" ");
                report.append(std::to_string(length / KiB)).append("\n");
                return true;
            })) {
            std::vector<NVHDX::NDifferencingVirtualMerge::CGetDifferentialResult<char>> records;
            GetDifferential(records, 4 * MiB, 512, circuit);
            report.append(records.at(0).found ? "found" : "the base's");
        }
        return report;
    });
    ExpectHarmless(run);
    EXPECT_EQ(run.result, "4 1024\nthe base's");
}

}  // namespace
}  // namespace NTest
