#ifndef VHDX_PARSER_TOOLS_VHDX_MODEL_IDENTITY_H
#define VHDX_PARSER_TOOLS_VHDX_MODEL_IDENTITY_H

/// Which disk, in which state, a saved model is of. The model's document has no place for it: it is
/// kept in a small file beside it.

#include <filesystem>
#include <string>
#include <vector>

namespace NTool {

/// One thing that tells disks, or states of one disk, apart.
struct CDiskTrait {
    std::string name;
    std::string value;

    bool operator==(const CDiskTrait&) const = default;
};

/// What tells a disk as it is read now from every other one, and from itself once it has changed.
/// The same traits in the same order for every disk.
using CDiskIdentity = std::vector<CDiskTrait>;

/// The trait that says what was done with a log that is pending.
inline constexpr const char* PendingLog = "pending log";

/// The traits from here on change with the state of a disk, those before with the disk.
inline constexpr const char* FirstTraitOfState = "DataWriteGuid";

/// The text to keep beside a model that is complete. Throws `CCommandFailure` when that cannot be
/// read.
std::string IdentityText(const CDiskIdentity& disk, const std::filesystem::path& model);

/// Where the text is kept.
std::filesystem::path IdentityPlace(const std::filesystem::path& model);

/// Throws `CCommandFailure` unless what is kept beside the model says that it is of this disk in
/// this state.
void CheckIdentity(const std::filesystem::path& model, const CDiskIdentity& disk);

}  // namespace NTool

#endif
