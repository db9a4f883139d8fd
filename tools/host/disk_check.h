#ifndef VHDX_HOST_DISK_CHECK_H
#define VHDX_HOST_DISK_CHECK_H

/// Whether disk files are as the disk format wants them.

#include <filesystem>
#include <string>

#include "host/check_finding.h"
#include "host/replay_stream.h"

namespace NVHDXHost {

/// Checks a disk file from its headers to its block allocation table, with its log replayed or as
/// it stands, and the ties to its parents. A log that is pending is a finding either way. Reads no
/// block's data and changes nothing. Findings are handed on as they come; memory stays bounded for
/// any file.
///
/// False, with the reason in `error` and without findings, when the file cannot be opened or is no
/// VHDX container at all.
[[nodiscard]] bool CheckDisk(const std::filesystem::path& path, CReplayStream::EMode mode,
                             const CFindingCallback& report, std::string& error);

/// Checks every disk file of a folder ("vhdx" and "avhdx") and how they belong together. A file
/// that cannot be checked is a finding. False, with the reason in `error`, when the folder cannot
/// be read or holds no disk file.
[[nodiscard]] bool CheckFolder(const std::filesystem::path& folder, CReplayStream::EMode mode,
                               const CFindingCallback& report, std::string& error);

}  // namespace NVHDXHost

#endif
