#include <cerrno>
#include <limits>
#include <stdexcept>
#include <string>
#include <system_error>

#include <fmt/format.h>

#include <vhdx_disk/path_query.h>
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/file_place.h"
#include "tools/vhdx/library_document.h"
#include "tools/vhdx/output_file.h"
#include "tools/vhdx/saved_model.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

namespace fs = std::filesystem;

/// Numbers that loading reads as signed ones of 32 bits.
void CheckSavable(const CModel& model) {
    constexpr std::uint64_t largest = std::numeric_limits<std::int32_t>::max();
    std::uint64_t number = 0;
    for (const NVHDX::CBlockChunk& chunk : model.blocks.chunks) {
        for (const NVHDX::CPayloadBlock& block : chunk.getPayloadBlocks()) {
            if (NVHDXDisk::HasData(block.state) && block.offset > largest) {
                throw CCommandFailure(fmt::format(
                    "block {} lies at {} MiB in the file, and a saved model keeps places below "
                    "2147483648 MiB only",
                    number, block.offset));
            }
            ++number;
        }
    }
}

/// What the system said last says more than what the library makes of it.
void Serialize(const fs::path& path, const std::string& name, const CModel& model) {
    try {
        const CLibraryName libraryName(path, true);
        errno = 0;
        try {
            NVHDX::VHDXMetadataSerialize(libraryName.Text(), model.blocks, model.params);
        } catch (const std::runtime_error& error) {
            const int number = errno;
            throw CCommandFailure(number != 0
                                      ? std::generic_category().message(number)
                                      : Printable(WithoutName(error.what(), libraryName.Text())));
        }
    } catch (const CCommandFailure& failure) {
        throw CCommandFailure(name, std::string("cannot be written: ") + failure.what());
    }
}

std::string IdentityOf(const fs::path& path, const std::string& name,
                       const CDiskIdentity& identity) {
    try {
        return IdentityText(identity, path);
    } catch (const CCommandFailure& failure) {
        throw CCommandFailure(name, failure.what());
    }
}

/// The model is of no use without its identity, and is taken away when that cannot be written.
void WriteIdentity(const fs::path& model, const std::string& disk, const std::string& text,
                   ESync sync) {
    try {
        COutputFile file(NVHDXDisk::TextOf(IdentityPlace(model)), {PathOf(disk)}, sync);
        file.Output().Append(text);
        file.Commit();
    } catch (const CCommandFailure&) {
        RemoveQuietly(model);
        throw;
    }
}

/// Makes room for the identity, before the model that it is of takes its place.
void RemoveIdentity(const fs::path& model, const std::string& disk) {
    const fs::path place = IdentityPlace(model);
    const std::string name = NVHDXDisk::TextOf(place);
    CheckNotRead(name, PathOf(disk));
    if (IsFolder(name)) {
        throw CCommandFailure(name, "this is a folder");
    }
    if (const int error = Remove(place); error != 0) {
        throw CCommandFailure(name,
                              "cannot be replaced: " + std::generic_category().message(error));
    }
}

}  // namespace

void CheckModelPlace(const std::string& name) {
    if (name == "-") {
        throw CCommandFailure(
            name,
            "a model has its identity beside it, and standard output has no place for "
            "one; name a file");
    }
    std::error_code error;
    const fs::file_type kind = NVHDXDisk::KindOf(PathOf(name), error);
    if (kind != fs::file_type::none && kind != fs::file_type::not_found &&
        kind != fs::file_type::regular && kind != fs::file_type::directory) {
        throw CCommandFailure(name, "only a file can be written, no device and no pipe");
    }
}

void SaveModel(const std::string& name, const std::string& disk, const CModel& model,
               const CDiskIdentity& identity, ESync sync) {
    CheckSavable(model);
    COutputFile file(name, {PathOf(disk)}, sync);
    Serialize(file.WrittenPath(), name, model);
    const std::string text = IdentityOf(file.WrittenPath(), name, identity);
    RemoveIdentity(PathOf(name), disk);
    file.Commit();
    WriteIdentity(PathOf(name), disk, text, sync);
}

}  // namespace NTool
