#ifndef VHDX_DISK_CHECK_REFUSAL_SOURCE_H
#define VHDX_DISK_CHECK_REFUSAL_SOURCE_H

#include <vhdx_disk/source.h>

#include "vhdx_disk/check/finding_sink.h"

namespace NVHDXDisk {

/// The source, of which each read that is refused becomes a finding as it happens. Whoever checks
/// says nothing more of such bytes: nobody knows whether they are right. For one thread; `findings`
/// outlives it.
[[nodiscard]] CSourcePointer TellingRefusals(CSourcePointer source, const CFindingSink& findings);

}  // namespace NVHDXDisk

#endif
