#ifndef VHDX_PARSER_FUZZ_CHECK_SOURCE_H
#define VHDX_PARSER_FUZZ_CHECK_SOURCE_H

#include <utility>

#include "vhdx_disk/check/chain_check.h"
#include "vhdx_disk/check/header_check.h"
#include "vhdx_disk/check/metadata_check.h"
#include "vhdx_disk/check/region_check.h"
#include "vhdx_disk/check/table_check.h"
#include "vhdx_disk/log/log_replay.h"

namespace NFuzz {

/// `NVHDXDisk::CheckDisk` of a source, without its parents. False when it is no container at all.
inline bool CheckSource(const NVHDXDisk::CSourcePointer& source, NVHDXDisk::ELog log,
                        const NVHDXDisk::CFindingCallback& report) {
    using namespace NVHDXDisk;
    CReplayedFile replayed;
    CFailure unreplayed;
    (void)Replay(WithHeader(source), ELog::replay, replayed, unreplayed);
    const CSourcePointer bytes = log == ELog::replay ? replayed.bytes : source;
    if (!LooksLikeContainer(*bytes)) {
        return false;
    }
    const CFindingSink findings(source->Path(), report);
    CheckHeaders(*bytes, findings);
    CheckLog(replayed.log, unreplayed, findings);
    CCheckedRegions regions = CheckRegions(*bytes, findings);
    if (regions.metadata) {
        const auto geometry = CheckMetadata(*bytes, *regions.metadata, findings);
        if (geometry && regions.bat) {
            CheckTable(bytes, {*regions.bat, std::move(regions.places)}, *geometry, findings);
        }
    }
    (void)CheckLocator(bytes, findings);
    return true;
}

}  // namespace NFuzz

#endif
