#include "tools/vhdx/command_failure.h"

#include <vhdx_disk/path_query.h>

#include "tools/vhdx/notes.h"
#include "tools/vhdx/text.h"

namespace NTool {

std::string ReasonOf(const NVHDXDisk::CFailure& failure) {
    const std::string& reason = failure.reason;
    switch (failure.kind) {
        case NVHDXDisk::CFailure::logNotReplayed:
            return reason + " (--no-replay shows the file as it stands)";
        case NVHDXDisk::CFailure::parentChanged:
            return reason + "; --accept-changed-parent reads it all the same";
        case NVHDXDisk::CFailure::changedMeanwhile:
            return reason + "; read a snapshot of it, or --live accepts what two states give";
        default:
            return reason;
    }
}

CCommandFailure FailureOf(const NVHDXDisk::CFailure& failure) {
    return CCommandFailure(NVHDXDisk::TextOf(failure.file), ReasonOf(failure));
}

void TellChange(const NVHDXDisk::CFailure& change, bool live) {
    if (!live || change.kind != NVHDXDisk::CFailure::changedMeanwhile) {
        throw FailureOf(change);
    }
    PrintNote(change.text + "; what was read may be of two states (--live)");
}

}  // namespace NTool
