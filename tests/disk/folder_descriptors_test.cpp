// How many files the first library has open while it links a folder, and whether the forecast heeds
// how many this process may open.

#include <sys/resource.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vhdx_disk/folder.h>
#include <vhdx_parser/snapshot_chain.h>

#include "tests/support/child_process.h"
#include "tests/support/image_builder.h"
#include "tests/support/temporary_folder.h"

namespace NTest {
namespace {

using NVHDXDisk::CFolder;
using NVHDXDisk::CLinkingForecast;
using testing::AnyOf;
using testing::StartsWith;

constexpr std::size_t Disks = 90;  // more than this library itself keeps open

std::u16string Name(std::size_t disk) {
    const std::string digits = std::to_string(100 + disk);
    return std::u16string(digits.begin(), digits.end()) + (disk == 0 ? u".vhdx" : u".avhdx");
}

class FolderDescriptors : public testing::Test {
protected:
    FolderDescriptors() {
        CImageBuilder().Build().WriteTo(m_folder.Path() / Name(0));
        for (std::size_t disk = 1; disk < Disks; ++disk) {
            CImageBuilder()
                .Differencing()
                .ParentLocator({{u"parent_linkage", u"{6E4D5F00-0002-4A00-8000-000000000002}"},
                                {u"relative_path", u".\\" + Name(disk - 1)}})
                .Build()
                .WriteTo(m_folder.Path() / Name(disk));
        }
    }

    CLinkingForecast Forecast() const {
        NVHDXDisk::CFailure failure;
        const auto folder = CFolder::Open(m_folder.Path(), {}, failure);
        return folder == nullptr ? CLinkingForecast() : folder->Linking();
    }

    bool Links() const {
        std::vector<NVHDX::NSnapshotCircuit::CSource<std::shared_ptr<NVHDX::CFileObject<char>>>>
            chains;
        return NVHDX::NSnapshotCircuit::NBuilder::DoIt(chains, m_folder.Narrow());
    }

    static void Limit(rlim_t most) {
        rlimit limit = {};
        (void)getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = most;
        (void)setrlimit(RLIMIT_NOFILE, &limit);
    }

    /// The lowest limit under which `holds`.
    template <class THolds>
    static rlim_t LowestLimit(THolds holds) {
        rlim_t most = Disks;
        for (; most < 2 * Disks; ++most) {
            Limit(most);
            if (holds()) {
                break;
            }
        }
        return most;
    }

    const CTemporaryFolder m_folder;
};

TEST_F(FolderDescriptors, AreOneForEachDiskAndOneForTheFolder) {
    EXPECT_EQ(Forecast().openFiles, Disks + 1);
    EXPECT_EQ(Forecast().outcome, CLinkingForecast::links);
}

/// The library needs one fewer where the folder is closed before its last disk is opened.
TEST_F(FolderDescriptors, AreForetoldToAtMostOneThatIsNotNeeded) {
    const CChildResult result = RunForked([this] {
        const rlim_t linked = LowestLimit([this] { return Links(); });
        const rlim_t promised =
            LowestLimit([this] { return Forecast().outcome == CLinkingForecast::links; });
        std::printf("%d", static_cast<int>(promised) - static_cast<int>(linked));
        return std::fflush(stdout);
    });
    EXPECT_THAT(result.output, AnyOf("0", "1"));
    EXPECT_EQ(result.status, 0) << result.errors;
}

TEST_F(FolderDescriptors, AreNamedWhereTheyAreTooFew) {
    const CChildResult result = RunForked([this] {
        Limit(Disks);
        const CLinkingForecast forecast = Forecast();
        std::printf("%d %d %s", static_cast<int>(forecast.outcome),
                    static_cast<int>(forecast.chains.at(0).linkable),
                    forecast.reasons.at(0).c_str());
        return std::fflush(stdout);
    });
    EXPECT_THAT(result.output, StartsWith("1 0 linking 90 disks needs 91 open files, and this "
                                          "process may open "));
    EXPECT_EQ(result.status, 0) << result.errors;
}

}  // namespace
}  // namespace NTest
