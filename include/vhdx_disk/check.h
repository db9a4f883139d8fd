#ifndef VHDX_DISK_CHECK_H
#define VHDX_DISK_CHECK_H

/// Whether disk files are as the disk format wants them.

#include <cstddef>
#include <cstdint>
#include <filesystem>

#include <vhdx_disk/export.h>
#include <vhdx_disk/failure.h>
#include <vhdx_disk/finding.h>
#include <vhdx_disk/replayed_stream.h>

namespace NVHDXDisk {

/// What is checked of the parents of a disk.
enum class EParentCheck : std::int32_t {
    complete,  ///< each of their files as the disk's own; findings are under the parent's name
    tie        ///< each is there, can be opened and is the one from which its child was made
};

/// Checks a disk file from its headers to its block allocation table, with its log replayed or as
/// it stands, the ties to its parents, and their files. Parents are looked for beside their
/// children; each is checked once, also where they lead in a circle. A log that is pending is a
/// finding either way. Reads no block's data and changes nothing. Findings are handed on as they
/// come; memory stays bounded for any file.
///
/// False, with the reason in `failure` and without findings, when the file cannot be opened or is
/// no VHDX container at all.
[[nodiscard]] VHDX_DISK_API bool CheckDisk(const std::filesystem::path& path, ELog log,
                                           EParentCheck parents, const CFindingCallback& report,
                                           CFailure& failure);

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
