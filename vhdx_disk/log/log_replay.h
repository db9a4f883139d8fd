#ifndef VHDX_DISK_LOG_LOG_REPLAY_H
#define VHDX_DISK_LOG_LOG_REPLAY_H

#include <memory>

#include <vhdx_disk/failure.h>
#include <vhdx_disk/replayed_stream.h>
#include <vhdx_disk/source.h>

#include "vhdx_disk/log/header_copies.h"
#include "vhdx_disk/log/log_overlay.h"

namespace NVHDXDisk {

/// Replays the log of a container into memory; the file is only read.
///
/// Null unless `state.status` becomes `replayed`; `failure` has the reason where it becomes
/// `unreadable`. The container's headers are not part of the overlay: they still name the log.
[[nodiscard]] std::shared_ptr<const CLogOverlay> ReplayLog(const CHeadedFile& file,
                                                           CLogState& state, CFailure& failure);

/// The file with what its log writes laid over it, of the size that the replay gives it.
[[nodiscard]] CSourcePointer WithOverlay(CSourcePointer file,
                                         std::shared_ptr<const CLogOverlay> overlay);

/// A file and what its log says: everything above reads `bytes`.
struct CReplayedFile {
    CSourcePointer file;                         ///< on storage
    std::shared_ptr<const CLogOverlay> overlay;  ///< null when no entry was replayed
    CSourcePointer bytes;                        ///< the file with the overlay on top
    CLogState log;
};

/// False, with the file as it stands in `replayed`, when its log cannot be replayed.
[[nodiscard]] bool Replay(const CHeadedFile& file, ELog log, CReplayedFile& replayed,
                          CFailure& failure);

}  // namespace NVHDXDisk

#endif
