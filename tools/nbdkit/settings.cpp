#include "tools/nbdkit/settings.h"

#include <array>
#include <cstdlib>

#define NBDKIT_API_VERSION 2
#include <nbdkit-plugin.h>

#include "tools/nbdkit/messages.h"

namespace NPlugin {

namespace {

struct CFlag {
    const char* name;
    void (*set)(CSettings& settings, bool flag);
};

constexpr std::array<CFlag, 5> Flags = {{
    {"other-paths", [](CSettings& settings, bool flag) { settings.options.recordedPaths = flag; }},
    {"accept-changed-parent",
     [](CSettings& settings, bool flag) { settings.options.acceptChangedParent = flag; }},
    {"replay",
     [](CSettings& settings, bool flag) {
         settings.options.log = flag ? NVHDXDisk::ELog::replay : NVHDXDisk::ELog::asItStands;
     }},
    {"live", [](CSettings& settings, bool flag) { settings.options.live = flag; }},
    {"parallel", [](CSettings& settings, bool flag) { settings.parallel = flag; }},
}};

int TakeFlag(CSettings& settings, const CFlag& flag, const char* value) {
    const int isSet = nbdkit_parse_bool(value);
    if (isSet >= 0) {
        flag.set(settings, isSet != 0);
    }
    return isSet < 0 ? -1 : 0;
}

/// nbdkit changes its folder when it goes to the background.
int TakePath(std::string& setting, const char* value) {
    char* path = nbdkit_absolute_path(value);
    if (path == nullptr) {
        return -1;
    }
    setting = path;
    std::free(path);
    return 0;
}

}  // namespace

const char* const ParameterHelp =
    "file=DISK                     The disk file (.vhdx or .avhdx); its parents are found\n"
    "folder=FOLDER disk=NAME       The same by the name of a file in a folder\n"
    "other-paths=true              Look for parents at the absolute paths that the files keep "
    "too\n"
    "accept-changed-parent=true    Read a parent that was changed since its child was made, or of "
    "which nobody can tell, instead of refusing it\n"
    "replay=false                  Show the files as they stand, without the entries of their "
    "logs that are pending\n"
    "live=true                     Also answer new clients when the disk was written since it was "
    "opened; they may see two states of it\n"
    "parallel=BOOL                 Work on several requests of one connection at a time; false "
    "where this nbdkit may end for all clients when one vanishes meanwhile";

std::filesystem::path CSettings::Path() const {
    return file.empty() ? std::filesystem::path(folder) / disk : std::filesystem::path(file);
}

int TakeParameter(CSettings& settings, const std::string& name, const char* value) {
    if (name == "file") {
        return TakePath(settings.file, value);
    }
    if (name == "folder") {
        return TakePath(settings.folder, value);
    }
    if (name == "disk") {
        settings.disk = value;
        return 0;
    }
    for (const CFlag& flag : Flags) {
        if (name == flag.name) {
            return TakeFlag(settings, flag, value);
        }
    }
    return Refuse(EINVAL, "unknown parameter " + name);
}

int CheckParameters(const CSettings& settings) {
    const bool ofFile = !settings.file.empty() && settings.folder.empty() && settings.disk.empty();
    const bool ofFolder =
        settings.file.empty() && !settings.folder.empty() && !settings.disk.empty();
    return ofFile || ofFolder
               ? 0
               : Refuse(EINVAL, "give either file=DISK, or folder=FOLDER and disk=NAME");
}

}  // namespace NPlugin
