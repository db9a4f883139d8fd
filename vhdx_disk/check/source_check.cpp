#include "vhdx_disk/check/source_check.h"

#include <utility>

#include "vhdx_disk/check/chain_check.h"
#include "vhdx_disk/check/header_check.h"
#include "vhdx_disk/check/metadata_check.h"
#include "vhdx_disk/check/refusal_source.h"
#include "vhdx_disk/check/region_check.h"
#include "vhdx_disk/check/table_check.h"
#include "vhdx_disk/log/log_replay.h"
#include "vhdx_disk/table/container.h"

namespace NVHDXDisk {

namespace {

void CheckStructures(const CSourcePointer& bytes, const CFindingSink& findings) {
    CCheckedRegions regions = CheckRegions(*bytes, findings);
    if (!regions.metadata) {
        return;
    }
    const auto geometry = CheckMetadata(*bytes, *regions.metadata, findings);
    if (geometry && regions.bat) {
        CheckTable(bytes, {*regions.bat, std::move(regions.places)}, *geometry, findings);
    }
}

/// Of two copies of a structure the check takes the sound one, and so does not say all that keeps a
/// reader out.
void CheckOpening(const CHeadedFile& file, ELog log, const CFindingSink& findings) {
    CContainer container;
    CGeometry geometry;
    CFailure failure;
    if (!container.Open(file, log, failure) ||
        !ReadGeometry(container.Accessor(), container.Stream(), file.source->Path(), geometry,
                      failure)) {
        findings.Add(
            EFinding::notOpened, "file",
            "the disk cannot be opened though no other error was found: " + failure.reason);
    }
}

}  // namespace

bool CheckSource(const CSourcePointer& file, ELog log, const CFindingCallback& report,
                 std::optional<NVHDX::NMetadata::CParent>& locator, CFailure& failure) {
    const CHeadedFile headed = WithHeader(file);
    if (!LooksLikeContainer(headed, failure)) {
        return false;
    }
    bool hasError = false;
    const CFindingCallback watched = [&](const CFinding& finding) {
        hasError = hasError || finding.severity == ESeverity::error;
        report(finding);
    };
    const CFindingSink findings(file->Path(), watched);
    const CSourcePointer telling = TellingRefusals(file, findings);
    CheckHeaders(*telling, findings);
    // The log is looked at in any case. As it stands also where the log cannot be replayed.
    CReplayedFile replayed;
    CFailure unreplayed;
    (void)Replay({telling, headed.copies, headed.header}, ELog::replay, replayed, unreplayed);
    const CSourcePointer bytes = log == ELog::replay ? replayed.bytes : telling;
    CheckLog(replayed.log, unreplayed, findings);
    CheckStructures(bytes, findings);
    locator = CheckLocator(bytes, findings);
    if (!hasError) {
        CheckOpening({telling, headed.copies, headed.header}, log, findings);
    }
    return true;
}

}  // namespace NVHDXDisk
