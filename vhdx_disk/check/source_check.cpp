#include "vhdx_disk/check/source_check.h"

#include <utility>

#include "vhdx_disk/check/chain_check.h"
#include "vhdx_disk/check/header_check.h"
#include "vhdx_disk/check/metadata_check.h"
#include "vhdx_disk/check/refusal_source.h"
#include "vhdx_disk/check/region_check.h"
#include "vhdx_disk/check/table_check.h"
#include "vhdx_disk/log/log_replay.h"

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

}  // namespace

bool CheckSource(const CSourcePointer& file, ELog log, const CFindingCallback& report,
                 std::optional<NVHDX::NMetadata::CParent>& locator, CFailure& failure) {
    const CHeadedFile headed = WithHeader(file);
    if (!LooksLikeContainer(headed, failure)) {
        return false;
    }
    const CFindingSink findings(file->Path(), report);
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
    return true;
}

}  // namespace NVHDXDisk
