#ifndef VHDX_TOOLS_NBDKIT_SETTINGS_H
#define VHDX_TOOLS_NBDKIT_SETTINGS_H

#include <filesystem>
#include <optional>
#include <string>

#include <vhdx_disk/disk.h>

namespace NPlugin {

/// What the plugin's parameters say.
struct CSettings {
    std::string file;
    std::string folder;
    std::string disk;
    NVHDXDisk::CDiskOptions options;
    std::optional<bool> parallel;  ///< none: as this nbdkit can

    [[nodiscard]] std::filesystem::path Path() const;
};

/// The parameters, as nbdkit shows them to people.
extern const char* const ParameterHelp;

/// Takes one parameter. As nbdkit's callbacks: 0, or -1 when nbdkit was told why not.
[[nodiscard]] int TakeParameter(CSettings& settings, const std::string& name, const char* value);

/// Whether the parameters say which disk is meant.
[[nodiscard]] int CheckParameters(const CSettings& settings);

}  // namespace NPlugin

#endif
