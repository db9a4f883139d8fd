#ifndef VHDX_DISK_CHECK_LOCATOR_CHECK_H
#define VHDX_DISK_CHECK_LOCATOR_CHECK_H

#include <vhdx_disk/source.h>

#include "vhdx_disk/check/finding_sink.h"

namespace NVHDXDisk {

/// Checks the form of a parent locator, not what it says: its reserved field, and that each key and
/// each value is there. `item` is its place in the file.
void CheckLocatorForm(const IByteSource& source, const CFilePlace& item,
                      const CFindingSink& findings);

}  // namespace NVHDXDisk

#endif
