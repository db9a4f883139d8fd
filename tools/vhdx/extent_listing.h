#ifndef VHDX_TOOLS_VHDX_EXTENT_LISTING_H
#define VHDX_TOOLS_VHDX_EXTENT_LISTING_H

#include "tools/vhdx/arguments.h"
#include "tools/vhdx/chosen_disk.h"
#include "tools/vhdx/output.h"

namespace NTool {

enum class EExtentsOf { chain, oneFile };

/// Prints where a range of a disk comes from, run by run, as text or as a JSON array, and flushes
/// the output. Of one file the runs that it leaves to its parents are called so.
void PrintExtents(const CDiskPointer& disk, EExtentsOf what, const CRangeOptions& range, bool json,
                  COutput& output);

/// The same of what the files newer than `since` hold in place of the older disk's data.
void PrintChanges(const CDiskPointer& disk, std::size_t since, const CRangeOptions& range,
                  bool json, COutput& output);

}  // namespace NTool

#endif
