// The nbdkit plugin: a disk as its guest sees it, over the network block device protocol.

#include <atomic>
#include <cerrno>
#include <memory>
#include <optional>
#include <string>

#define NBDKIT_API_VERSION 2
#include <nbdkit-plugin.h>

#include <vhdx_disk/path_query.h>
#include <vhdx_disk/reader.h>
#include "tools/nbdkit/messages.h"
#include "tools/nbdkit/reader_pool.h"
#include "tools/nbdkit/settings.h"
#include "tools/nbdkit/vanished_clients.h"

// The most that `ThreadModel` may choose.
#define THREAD_MODEL NBDKIT_THREAD_MODEL_PARALLEL

namespace {

using NPlugin::CReaderPool;
using NPlugin::Guarded;
using NPlugin::Refuse;
using NPlugin::Say;
using NVHDXDisk::CDisk;
using NVHDXDisk::CExtent;
using NVHDXDisk::CFailure;

NPlugin::CSettings settings;
std::optional<CReaderPool> readers;

int Config(const char* key, const char* value) {
    return Guarded([&] { return NPlugin::TakeParameter(settings, key, value); });
}

int ConfigComplete() {
    return Guarded([] { return NPlugin::CheckParameters(settings); });
}

/// Why the disk cannot be opened or served, with the parameter that helps where there is one.
std::string WithAdvice(const CFailure& failure) {
    switch (failure.kind) {
        case CFailure::logNotReplayed:
            return failure.text + " (replay=false shows the file as it stands)";
        case CFailure::parentChanged:
            return failure.text + "; accept-changed-parent=true reads it all the same";
        case CFailure::changedMeanwhile:
            return failure.text + "; live=true serves it all the same";
        default:
            return failure.text;
    }
}

/// Opens the chain once, before the first client, so that a bad disk ends nbdkit with the reason.
int GetReady() {
    return Guarded([] {
        settings.options.recordedPathsAdvice = "other-paths=true";
        CFailure failure;
        const std::shared_ptr<const CDisk> disk =
            CDisk::Open(settings.Path(), settings.options, failure);
        if (!disk) {
            return Refuse(EINVAL, WithAdvice(failure));
        }
        for (const NVHDXDisk::CFinding& finding : disk->Findings()) {
            Say('"' + NVHDXDisk::Printable(NVHDXDisk::TextOf(finding.file)) +
                "\": " + finding.text);
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

/// Who opens a disk for writing while it is served leaves the server with two states of it.
int CheckUnchanged() {
    static std::atomic_flag isTold;
    CFailure failure;
    if (readers->Disk().CheckUnchanged(failure)) {
        return 0;
    }
    if (!settings.options.live || failure.kind != CFailure::changedMeanwhile) {
        return Refuse(EIO, WithAdvice(failure));
    }
    if (!isTold.test_and_set()) {
        Say(failure.text + "; it is served all the same, and may be of two states");
    }
    return 0;
}

/// Connections have nothing of their own.
void* Open(int) {
    return Guarded(CheckUnchanged) == 0 ? NBDKIT_HANDLE_NOT_NEEDED : nullptr;
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
    plugin.config_help = NPlugin::ParameterHelp;
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
