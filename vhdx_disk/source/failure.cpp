#include <vhdx_disk/failure.h>

#include "vhdx_disk/source/quoted.h"

namespace NVHDXDisk {

const char* NameOf(CFailure::EKind kind) {
    switch (kind) {
        case CFailure::none:
            return "none";
        case CFailure::notFound:
            return "not-found";
        case CFailure::cannotBeOpened:
            return "cannot-be-opened";
        case CFailure::notADisk:
            return "not-a-disk";
        case CFailure::damaged:
            return "damaged";
        case CFailure::logNotReplayed:
            return "log-not-replayed";
        case CFailure::parentMissing:
            return "parent-missing";
        case CFailure::parentChanged:
            return "parent-changed";
        case CFailure::circle:
            return "circle";
        case CFailure::outOfRange:
            return "out-of-range";
        case CFailure::cannotBeRead:
            return "cannot-be-read";
        case CFailure::changedMeanwhile:
            return "changed-meanwhile";
        case CFailure::stopped:
            return "stopped";
        case CFailure::targetFailed:
            return "target-failed";
    }
    return "unknown";
}

CFailure MakeFailure(CFailure::EKind kind, const std::filesystem::path& file,
                     const std::string& reason, int error) {
    const std::string printable = Printable(reason);
    return {kind, file, file.empty() ? printable : Quoted(file) + ": " + printable, printable,
            error};
}

}  // namespace NVHDXDisk
