#ifndef VHDX_DISK_CHECK_HEADER_CHECK_H
#define VHDX_DISK_CHECK_HEADER_CHECK_H

#include <vhdx_disk/replayed_stream.h>
#include <vhdx_disk/source.h>

#include "vhdx_disk/check/finding_sink.h"
#include "vhdx_disk/log/header_copies.h"
namespace NVHDXDisk {

/// Whether anything in the file says that it is a VHDX container: its identifier or the signature
/// of one of the headers. False, with the reason in `failure`, when nothing does, or nothing that
/// can be read.
[[nodiscard]] bool LooksLikeContainer(const CHeadedFile& file, CFailure& failure);
/// Checks the file type identifier and both headers: signatures, checksums and versions.
void CheckHeaders(const IByteSource& source, const CFindingSink& findings);

/// Says what the log means for who reads the file as it stands; `failure` is why it could not be
/// replayed, where that is so; bytes that were refused are told where they are read.
void CheckLog(const CLogState& log, const CFailure& failure, const CFindingSink& findings);

}  // namespace NVHDXDisk

#endif
