#include "host/disk_check.h"

#include <memory>

#include "host/bat_check.h"
#include "host/chain_check.h"
#include "host/header_check.h"
#include "host/metadata_check.h"
#include "host/region_check.h"

namespace NVHDXHost {

namespace {

using CLocator = std::optional<NVHDX::NMetadata::CParent>;

/// The log is looked at in any case. As it stands also where the log cannot be replayed.
std::unique_ptr<CReplayStream> OpenDisk(const std::filesystem::path& path,
                                        CReplayStream::EMode mode, CReplayResult& replay) {
    auto stream = std::make_unique<CReplayStream>(path);
    replay = stream->Result();
    if (stream->IsOpen() &&
        (mode == CReplayStream::asItStands || replay.status == CReplayResult::unreadable)) {
        stream = std::make_unique<CReplayStream>(path, CReplayStream::asItStands);
    }
    return stream;
}

void CheckStructures(CReplayStream& stream, const CReplayResult& replay,
                     const CFindingSink& findings) {
    CheckHeaders(stream, findings);
    CheckLog(replay, findings);
    CCheckedRegions regions = CheckRegions(stream, stream.Size(), findings);
    if (!regions.metadata) {
        return;
    }
    const auto geometry = CheckMetadata(stream, *regions.metadata, findings);
    if (geometry && regions.bat) {
        CheckBat(stream, {*regions.bat, std::move(regions.places), stream.Size()}, *geometry,
                 findings);
    }
}

/// The file alone; its parent locator goes to `locator`.
bool CheckFile(const std::filesystem::path& path, CReplayStream::EMode mode,
               const CFindingCallback& report, CLocator& locator, std::string& error) {
    CReplayResult replay;
    const auto stream = OpenDisk(path, mode, replay);
    if (!stream->IsOpen()) {
        error = stream->OpenError();
        return false;
    }
    if (!LooksLikeContainer(*stream)) {
        error = "the file is no VHDX container";
        return false;
    }
    const CFindingSink findings(path, report);
    CheckStructures(*stream, replay, findings);
    locator = CheckLocator(*stream, findings);
    return true;
}

}  // namespace

bool CheckDisk(const std::filesystem::path& path, CReplayStream::EMode mode,
               const CFindingCallback& report, std::string& error) {
    CLocator locator;
    if (!CheckFile(path, mode, report, locator, error)) {
        return false;
    }
    if (locator) {
        CheckParents(std::move(*locator), path, mode, report);
    }
    return true;
}

bool CheckFolder(const std::filesystem::path& folder, CReplayStream::EMode mode,
                 const CFindingCallback& report, std::string& error) {
    const auto tree = CFolderTree::Scan(folder, mode);
    if (!tree) {
        error = "the folder cannot be read";
        return false;
    }
    if (tree->Files().empty()) {
        error = "the folder holds no .vhdx or .avhdx file";
        return false;
    }
    for (const CFolderFile& file : tree->Files()) {
        CLocator locator;
        std::string problem;
        if (!CheckFile(file.path, mode, report, locator, problem)) {
            report({file.path, "file", "not-a-disk", problem});
        }
    }
    CheckTree(*tree, report);
    return true;
}

}  // namespace NVHDXHost
