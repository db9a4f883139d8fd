#ifndef VHDX_PARSER_TESTS_TOOL_DAMAGED_FOLDERS_H
#define VHDX_PARSER_TESTS_TOOL_DAMAGED_FOLDERS_H

/// Chains of which something is wrong. Each function writes them into `vm`, a folder in the one
/// that it is given.

#include <filesystem>

namespace NTest {

/// The chain of chain_disks.h with a second child of first.avhdx.
void WriteForkedChain(const std::filesystem::path& folder);
/// Without disk.vhdx, the base.
void WriteChainWithoutBase(const std::filesystem::path& folder);
/// With a base that was written since.
void WriteChainOnChangedBase(const std::filesystem::path& folder);
/// With a base that is no disk.
void WriteChainOnText(const std::filesystem::path& folder);
/// first.avhdx does not say which base it was made for.
void WriteUnlinkedChain(const std::filesystem::path& folder);
/// Two disks, each the parent of the other, beside a sound one.
void WriteCircle(const std::filesystem::path& folder);
/// With a base beside `vm`.
void WriteChainOnBaseElsewhere(const std::filesystem::path& folder);
/// child.avhdx, whose parent had an absolute path too.
void WriteMovedChild(const std::filesystem::path& folder);

/// A sound disk beside some that are damaged and some that are none, here and below.
void WriteDamagedFolder(const std::filesystem::path& folder);
/// Nothing but files that are no disks.
void WriteFolderOfTexts(const std::filesystem::path& folder);
void WriteEmptyFolder(const std::filesystem::path& folder);

}  // namespace NTest

#endif
