#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include <vhdx_disk/disk.h>
#include <vhdx_disk/reader.h>

#include "fuzz/disk_files.h"
#include "fuzz/reason.h"
#include "fuzz/target.h"
#include "tests/support/naive_disk.h"
#include "vhdx_disk/check/source_check.h"

// Checks one patched file: what has no error opens, and can be read wherever it has data.

namespace {

using namespace NVHDXDisk;

/// A thousand of each of the table's kinds and of what overlaps there; the others are few.
constexpr std::size_t mostFindings = 40000;
constexpr std::size_t mostRuns = 100;

struct CVerdict {
    bool isContainer = false;
    bool hasError = false;
};

CVerdict Check(const CSourcePointer& source, ELog log) {
    CVerdict verdict;
    std::size_t count = 0;
    const auto look = [&](const CFinding& finding) {
        NFuzz::Require(++count <= mostFindings && !finding.kind.empty() && !finding.place.empty() &&
                       !finding.text.empty() && NFuzz::IsUtf8(finding.text) &&
                       finding.file == source->Path());
        verdict.hasError = verdict.hasError || finding.severity == ESeverity::error;
    };
    std::optional<NVHDX::NMetadata::CParent> locator;
    CFailure failure;
    verdict.isContainer = CheckSource(source, log, look, locator, failure);
    if (!verdict.isContainer) {
        NFuzz::RequireReason(failure);
    }
    return verdict;
}

std::vector<CBlockRun> Runs(const CDisk& disk) {
    CFailure failure;
    const auto table = disk.Table(0, failure);
    NFuzz::Require(table != nullptr);
    std::vector<CBlockRun> runs;
    NFuzz::Require(table->Runs(
        [&](const CBlockRun& run) {
            runs.push_back(run);
            return runs.size() < mostRuns;
        },
        failure));
    return runs;
}

void RequireReadable(CReader& reader, std::uint64_t begin, std::uint64_t end) {
    NTest::CBytes bytes(std::min<std::uint64_t>(end - begin, 1024));
    CFailure failure;
    NFuzz::Require(reader.Read(begin, bytes.data(), bytes.size(), failure));
    NFuzz::Require(reader.Read(end - bytes.size(), bytes.data(), bytes.size(), failure));
}

/// At both ends of each run of blocks, and of the disk.
void RequireReadable(const std::shared_ptr<const CDisk>& disk) {
    CReader reader(disk);
    const std::uint64_t size = disk->Size();
    const std::uint64_t blockSize = disk->Files().front().blockSize;
    RequireReadable(reader, 0, size);
    for (const CBlockRun& run : Runs(*disk)) {
        const std::uint64_t begin = run.firstBlock * blockSize;
        RequireReadable(reader, begin, std::min(size, begin + run.count * blockSize));
    }
}

void RequireSound(const NFuzz::CMemorySource& source, ELog log) {
    CDiskOptions options;
    options.log = log;
    options.withParents = false;
    CFailure failure;
    const auto disk = CDisk::Open({NFuzz::Unowned(source)}, options, failure);
    NFuzz::Require(disk != nullptr);
    RequireReadable(disk);
    const auto naive = std::make_shared<NTest::CNaiveFile>(
        log == ELog::replay ? NTest::CNaiveReplay::Of(source.Naive())
                            : NTest::CNaiveReplay::AsItStands(source.Naive()));
    NFuzz::Require(NTest::CNaiveDisk({naive}, false).IsWhole() ||
                   naive->Bytes().Answer() == NTest::CNaiveReplay::ambiguous);
}

}  // namespace

void RunTarget(const std::uint8_t* data, std::size_t size) {
    static NFuzz::CDiskFiles kept;
    NFuzz::CInput input(data, size);
    const std::uint64_t bits = input.Number(1);
    const ELog log = (bits & 4) != 0 ? ELog::asItStands : ELog::replay;
    const NFuzz::CMemorySource& source = kept.Patched(bits % 4, input);
    const CVerdict verdict = Check(NFuzz::Unowned(source), log);
    if (verdict.isContainer && !verdict.hasError) {
        RequireSound(source, log);
    }
}
