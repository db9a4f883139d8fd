#ifndef VHDX_HOST_DISK_CHECK_H
#define VHDX_HOST_DISK_CHECK_H

/// Whether disk files are as the disk format wants them.

#include <cstddef>
#include <filesystem>
#include <optional>
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

/// Checks every disk file of a folder and of all folders below it (extensions "vhdx" and "avhdx" in
/// any case), and how they belong together. What cannot be read, a file or a folder, is a finding.
/// How many disks were read; none, with the reason in `error` and without findings, when that is
/// not a single one.
[[nodiscard]] std::optional<std::size_t> CheckFolder(const std::filesystem::path& folder,
                                                     CReplayStream::EMode mode,
                                                     const CFindingCallback& report,
                                                     std::string& error);

}  // namespace NVHDXHost

#endif
