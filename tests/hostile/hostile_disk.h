#ifndef VHDX_PARSER_TESTS_HOSTILE_HOSTILE_DISK_H
#define VHDX_PARSER_TESTS_HOSTILE_HOSTILE_DISK_H

/// A table of hostile disks: what is wrong, the disk, and what is to come of it.

#include <chrono>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/hostile/disk_probe.h"
#include "tests/hostile/measured_child.h"
#include "tests/support/image_builder.h"
#include "tests/support/sanitizers.h"
#include "tests/support/temporary_folder.h"

namespace NTest {

struct CHostileDisk {
    std::string name;       ///< what is wrong
    CImageBuilder builder;  ///< how the disk comes to be
    std::string report;     ///< what ProbeDisk tells; empty when every request succeeds

    friend std::ostream& operator<<(std::ostream& out, const CHostileDisk& disk) {
        return out << disk.name;
    }
};

/// The rows of each table, for whoever else has to bear them.
std::vector<CHostileDisk> HostileContainers();
std::vector<CHostileDisk> HostileOpenings();
std::vector<CHostileDisk> HostileMetadataRegions();
std::vector<CHostileDisk> HostileBlockTables();

inline std::string NameOfDisk(const testing::TestParamInfo<CHostileDisk>& info) {
    return info.param.name;
}

inline void ExpectHarmless(const CMeasuredRun& run) {
    EXPECT_TRUE(run.endedWell);
    if (!hasShadowMemory) {
        EXPECT_LT(run.processorTime, std::chrono::seconds(1));
        EXPECT_LT(run.peakMemory, 64 * MiB);
    }
}

/// One row: the requests end as told, within a second of processor time and 64 MiB.
inline void ExpectHandled(const CHostileDisk& disk) {
    const CTemporaryFolder folder;
    const std::filesystem::path path = folder / "hostile.vhdx";
    disk.builder.Build().WriteTo(path);
    const CMeasuredRun run = RunMeasured([&] { return ProbeDisk(path); });
    ExpectHarmless(run);
    EXPECT_EQ(run.result, disk.report);
}

}  // namespace NTest

#endif
