#ifndef VHDX_DISK_LOG_LOG_SEQUENCE_H
#define VHDX_DISK_LOG_LOG_SEQUENCE_H

#include <vector>

#include "vhdx_disk/log/log_entry.h"

namespace NVHDXDisk {

/// The entries that are pending in the log, oldest first; empty when it has no valid sequence.
///
/// A sequence is a row of valid entries, each right behind the one before (round the end of the
/// log) with the next sequence number. It is valid when the tail that its last entry names is one
/// of its entries; the pending ones start there. Of several the one with the greatest sequence
/// number is the active one.
///
/// Empty also, with the reason in `refusal`, when the source refuses bytes: an entry that cannot be
/// read may be the one that the log goes on with.
[[nodiscard]] std::vector<CLogEntry> FindActiveSequence(const IByteSource& source,
                                                        const CLogArea& area, CFailure& refusal);

}  // namespace NVHDXDisk

#endif
