#ifndef VHDX_PARSER_TESTS_HOSTILE_DISK_PROBE_H
#define VHDX_PARSER_TESTS_HOSTILE_DISK_PROBE_H

#include <filesystem>
#include <string>

namespace NTest {

/// Asks everything of one disk file, each request on a stream whose state was cleared, and tells
/// what came of it: one line for each request that did not succeed, by its name and, for an
/// exception, its text, and before it the trace lines of level 3 that it caused.
///
/// The requests: Entry, FileParameters, VirtualDiskSize, Page83Data, LogicalSectorSize,
/// PhysicalSectorSize, ParentLocator, LoadBlocks, BatData; and once the blocks are loaded: Start
/// and End (the first and the last 4 KiB of the virtual disk), RealOffsets, Bitmap (the first
/// chunk's, when it has one), Iterate. Nothing is asked of a container that does not open.
std::string ProbeDisk(const std::filesystem::path& path);

/// Every trace line of the opening alone, each with its level before it.
std::string TraceOpening(const std::filesystem::path& path);

}  // namespace NTest

#endif
