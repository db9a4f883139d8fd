#ifndef VHDX_HOST_LOCATOR_CHECK_H
#define VHDX_HOST_LOCATOR_CHECK_H

#include "host/check_finding.h"
#include "host/stream_read.h"

namespace NVHDXHost {

/// Checks the form of a parent locator, not what it says: its reserved field, and that each key and
/// each value is there. `item` is its place in the file.
void CheckLocatorForm(CByteStream& stream, const CFilePlace& item, const CFindingSink& findings);

}  // namespace NVHDXHost

#endif
