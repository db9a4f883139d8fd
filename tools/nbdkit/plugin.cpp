// The nbdkit plugin: a disk as its guest sees it, over the network block device protocol.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#define NBDKIT_API_VERSION 2
#include <nbdkit-plugin.h>

#include <vhdx_disk/path_query.h>
#include <vhdx_disk/reader.h>
#include "tools/nbdkit/reader_pool.h"
#include "tools/nbdkit/vanished_clients.h"

// The most that `ThreadModel` may choose.
#define THREAD_MODEL NBDKIT_THREAD_MODEL_PARALLEL

namespace {

using NPlugin::CReaderPool;
using NVHDXDisk::CDisk;
using NVHDXDisk::CExtent;
using NVHDXDisk::CFailure;

struct CSettings {
    std::string file;
    std::string folder;
    std::string disk;
    NVHDXDisk::CDiskOptions options;
    std::optional<bool> parallel;
};

CSettings settings;
std::optional<CReaderPool> readers;

int Refuse(int error, const std::string& reason) {
    nbdkit_error("%s", reason.c_str());
    nbdkit_set_error(error);
    return -1;
}

/// What is no error: nbdkit itself says only errors.
void Say(const std::string& text) {
    static_cast<void>(std::fprintf(stderr, "nbdkit: vhdx: %s\n", text.c_str()));
}

/// No exception may reach nbdkit, which is C.
template <class TRun>
int Guarded(TRun run) {
    try {
        return run();
    } catch (const std::bad_alloc&) {
        return Refuse(ENOMEM, "there is not enough memory");
    } catch (const std::exception& error) {
        return Refuse(EIO, error.what());
    }
}

/// Runs `set` with what the parameter says, where it is a truth value.
template <class TSet>
int SetFlag(const char* value, TSet set) {
    const int flag = nbdkit_parse_bool(value);
    if (flag < 0) {
        return -1;
    }
    set(flag != 0);
    return 0;
}

/// nbdkit changes its folder when it goes to the background.
int SetPath(std::string& setting, const char* value) {
    char* path = nbdkit_absolute_path(value);
    if (path == nullptr) {
        return -1;
    }
    setting = path;
    std::free(path);
    return 0;
}

int Config(const char* key, const char* value) {
    return Guarded([&] {
        const std::string name = key;
        if (name == "file") {
            return SetPath(settings.file, value);
        }
        if (name == "folder") {
            return SetPath(settings.folder, value);
        }
        if (name == "disk") {
            settings.disk = value;
            return 0;
        }
        if (name == "other-paths") {
            return SetFlag(value, [](bool flag) { settings.options.recordedPaths = flag; });
        }
        if (name == "accept-changed-parent") {
            return SetFlag(value, [](bool flag) { settings.options.acceptChangedParent = flag; });
        }
        if (name == "replay") {
            return SetFlag(value, [](bool flag) {
                settings.options.log = flag ? NVHDXDisk::ELog::replay : NVHDXDisk::ELog::asItStands;
            });
        }
        if (name == "parallel") {
            return SetFlag(value, [](bool flag) { settings.parallel = flag; });
        }
        return Refuse(EINVAL, "unknown parameter " + name);
    });
}

int ConfigComplete() {
    const bool ofFile = !settings.file.empty() && settings.folder.empty() && settings.disk.empty();
    const bool ofFolder =
        settings.file.empty() && !settings.folder.empty() && !settings.disk.empty();
    if (!ofFile && !ofFolder) {
        return Refuse(EINVAL, "give either file=DISK, or folder=FOLDER and disk=NAME");
    }
    return 0;
}

/// Why the disk cannot be opened, with the parameter that helps where there is one.
std::string WithAdvice(const CFailure& failure) {
    switch (failure.kind) {
        case CFailure::logNotReplayed:
            return failure.text + " (replay=false shows the file as it stands)";
        case CFailure::parentChanged:
            return failure.text + "; accept-changed-parent=true reads it all the same";
        default:
            return failure.text;
    }
}

/// Opens the chain once, before the first client, so that a bad disk ends nbdkit with the reason.
int GetReady() {
    return Guarded([] {
        const std::filesystem::path path =
            settings.file.empty() ? std::filesystem::path(settings.folder) / settings.disk
                                  : std::filesystem::path(settings.file);
        settings.options.recordedPathsAdvice = "other-paths=true";
        CFailure failure;
        const std::shared_ptr<const CDisk> disk = CDisk::Open(path, settings.options, failure);
        if (!disk) {
            return Refuse(EINVAL, WithAdvice(failure));
        }
        for (const NVHDXDisk::CFinding& finding : disk->Findings()) {
            Say('"' + NVHDXDisk::TextOf(finding.file) + "\": " + finding.text);
        }
        if (const auto entries = disk->ReplayedEntries(); entries != 0) {
            Say("log: " + std::to_string(entries) + (entries == 1 ? " entry" : " entries") +
                " replayed in memory, the file is not changed");
        }
        readers.emplace(disk);
        return 0;
    });
}

/// Several connections are served at a time in any case.
int ThreadModel() {
    return settings.parallel.value_or(NPlugin::OutlivesVanishedClients())
               ? NBDKIT_THREAD_MODEL_PARALLEL
               : NBDKIT_THREAD_MODEL_SERIALIZE_REQUESTS;
}

/// Connections have nothing of their own.
void* Open(int) {
    return NBDKIT_HANDLE_NOT_NEEDED;
}

void Cleanup() {
    readers.reset();
}

std::int64_t GetSize(void*) {
    return static_cast<std::int64_t>(readers->Disk().Size());
}

int No(void*) {
    return 0;
}

int Yes(void*) {
    return 1;
}

int Read(void*, void* buffer, std::uint32_t count, std::uint64_t offset, std::uint32_t) {
    return Guarded([&] {
        const CReaderPool::CLease reader(*readers);
        CFailure failure;
        return reader->Read(offset, static_cast<unsigned char*>(buffer), count, failure)
                   ? 0
                   : Refuse(EIO, failure.text);
    });
}

std::uint32_t TypeOf(const CExtent& extent) {
    switch (extent.kind) {
        case CExtent::data:
            return 0;
        case CExtent::zeros:
            return NBDKIT_EXTENT_ZERO;
        case CExtent::hole:
            break;
    }
    return NBDKIT_EXTENT_HOLE | NBDKIT_EXTENT_ZERO;
}

int Extents(void*, std::uint32_t count, std::uint64_t offset, std::uint32_t flags,
            nbdkit_extents* extents) {
    return Guarded([&] {
        const CReaderPool::CLease reader(*readers);
        bool added = true;
        const auto add = [&](const CExtent& extent) {
            added = nbdkit_add_extent(extents, extent.offset, extent.length, TypeOf(extent)) == 0;
            return added && (flags & NBDKIT_FLAG_REQ_ONE) == 0;
        };
        CFailure failure;
        if (!reader->Extents(offset, count, add, failure)) {
            return Refuse(EIO, failure.text);
        }
        return added ? 0 : -1;
    });
}

nbdkit_plugin Plugin() {
    nbdkit_plugin plugin = {};
    plugin.name = "vhdx";
    plugin.longname = "virtual hard disks in the VHDX format";
    plugin.description = "Serves a disk file with all its parents, read-only.";
    plugin.config = Config;
    plugin.config_complete = ConfigComplete;
    plugin.config_help =
        "file=DISK                     The disk file (.vhdx or .avhdx); its parents are found\n"
        "folder=FOLDER disk=NAME       The same by the name of a file in a folder\n"
        "other-paths=true              Look for parents at the absolute paths that the files keep "
        "too\n"
        "accept-changed-parent=true    Read a parent that was changed since its child was made, or "
        "of which nobody can tell, instead of refusing it\n"
        "replay=false                  Show the files as they stand, without the entries of their "
        "logs that are pending\n"
        "parallel=BOOL                 Work on several requests of one connection at a time; false "
        "where this nbdkit may end for all clients when one vanishes meanwhile";
    plugin.magic_config_key = "file";
    plugin.thread_model = ThreadModel;
    plugin.get_ready = GetReady;
    plugin.cleanup = Cleanup;
    plugin.open = Open;
    plugin.get_size = GetSize;
    plugin.can_write = No;
    plugin.can_multi_conn = Yes;  // nobody can change what another connection reads
    plugin.can_extents = Yes;
    plugin.pread = Read;
    plugin.extents = Extents;
    return plugin;
}

nbdkit_plugin plugin = Plugin();

}  // namespace

NBDKIT_REGISTER_PLUGIN(plugin)
