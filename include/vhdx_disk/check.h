#ifndef VHDX_DISK_CHECK_H
#define VHDX_DISK_CHECK_H

/// Whether disk files are as the disk format wants them.

#include <cstddef>
#include <filesystem>

#include <vhdx_disk/export.h>
#include <vhdx_disk/failure.h>
#include <vhdx_disk/finding.h>
#include <vhdx_disk/replayed_stream.h>

namespace NVHDXDisk {

/// Checks a disk file from its headers to its block allocation table, with its log replayed or as
/// it stands, and the ties to its parents. A log that is pending is a finding either way. Reads no
/// block's data and changes nothing. Findings are handed on as they come; memory stays bounded for
/// any file.
///
/// False, with the reason in `failure` and without findings, when the file cannot be opened or is
/// no VHDX container at all.
[[nodiscard]] VHDX_DISK_API bool CheckDisk(const std::filesystem::path& path, ELog log,
                                           const CFindingCallback& report, CFailure& failure);

/// Checks every disk file of a folder and of all folders below it (extensions "vhdx" and "avhdx" in
/// any case), and how they belong together. What cannot be read, a file or a folder, is a finding.
/// `disks` becomes the number of disks that were read. False, with the reason in `failure` and
/// without findings, when the folder cannot be read (`cannotBeRead`) or not a single disk in it
/// (`notADisk`); `disks` then stays.
[[nodiscard]] VHDX_DISK_API bool CheckFolder(const std::filesystem::path& folder, ELog log,
                                             const CFindingCallback& report, std::size_t& disks,
                                             CFailure& failure);

}  // namespace NVHDXDisk

#endif
