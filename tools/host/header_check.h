#ifndef VHDX_HOST_HEADER_CHECK_H
#define VHDX_HOST_HEADER_CHECK_H

#include "host/check_finding.h"
#include "host/log_replay.h"
#include "host/stream_read.h"

namespace NVHDXHost {

/// Whether anything in the file says that it is a VHDX container: its identifier or the signature
/// of one of the headers.
[[nodiscard]] bool LooksLikeContainer(CByteStream& stream);

/// Checks the file type identifier and both headers: signatures, checksums and versions.
void CheckHeaders(CByteStream& stream, const CFindingSink& findings);

/// Says what the log means for who reads the file as it stands.
void CheckLog(const CReplayResult& replay, const CFindingSink& findings);

}  // namespace NVHDXHost

#endif
