#ifndef VHDX_DISK_FINDING_H
#define VHDX_DISK_FINDING_H

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <vhdx_disk/export.h>

namespace NVHDXDisk {

enum class ESeverity : std::int32_t {
    error,    ///< data are wrong, missing or cannot be read
    warning,  ///< it can be read, but is not as the format wants it
    note      ///< ordinary and worth knowing: a pending log, a tree
};

/// "error", "warning", "note".
[[nodiscard]] VHDX_DISK_API const char* NameOf(ESeverity severity);

/// Something in a disk file, a chain or a folder that is not as the format wants it.
struct CFinding {
    std::filesystem::path file;
    std::string place;  ///< a position in the file, a block, a chunk
    std::string kind;   ///< the same word for the same trouble, for programs
    ESeverity severity = ESeverity::error;
    std::string text;  ///< what is wrong, and what it means; safe to print
};

using CFindingCallback = std::function<void(const CFinding&)>;

/// One kind of finding.
struct CFindingKind {
    const char* word;
    ESeverity severity;
    const char* meaning;  ///< one sentence
};

/// All kinds there are, in the order of the structures that they are about.
[[nodiscard]] VHDX_DISK_API const std::vector<CFindingKind>& FindingKinds();

}  // namespace NVHDXDisk

#endif
