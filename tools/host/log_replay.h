#ifndef VHDX_HOST_LOG_REPLAY_H
#define VHDX_HOST_LOG_REPLAY_H

#include <cstdint>
#include <memory>
#include <string>

#include "host/log_overlay.h"
#include "host/stream_read.h"

namespace NVHDXHost {

/// How the replay of a file's log went.
struct CReplayResult {
    enum EStatus {
        notTried,   ///< nobody asked for it
        noLog,      ///< the current header says that nothing is pending
        replayed,   ///< `entries` entries stand in the overlay
        noHeader,   ///< neither header is valid, so nobody knows whether there is a log
        unreadable  ///< there is a log and it cannot be replayed; the file must not be trusted
    };

    EStatus status = notTried;
    std::uint64_t entries = 0;
    std::string error;  ///< one sentence for `noHeader` and `unreadable`
};

/// Replays the log of a container into memory; the file is only read.
///
/// Null unless `result.status` is `replayed`. The overlay may be shared by any number of streams
/// on the same file. The container's headers are not part of it: they still name the log.
[[nodiscard]] std::shared_ptr<const CLogOverlay> ReplayLog(CByteStream& stream,
                                                           CReplayResult& result);

}  // namespace NVHDXHost

#endif
