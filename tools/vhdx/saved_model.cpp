#include "tools/vhdx/saved_model.h"

#include <algorithm>
#include <stdexcept>
#include <system_error>

#include <fmt/format.h>

#include <vhdx_disk/path_query.h>
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/library_document.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view notSaved = "this is not a saved model of a disk";

CCommandFailure NotOfThisDisk(const char* what, std::uint64_t has, std::uint64_t wanted) {
    return CCommandFailure(fmt::format(
        "the model is not of this disk: its {} is {}, the disk's is {}", what, has, wanted));
}

void CheckGeometry(const CModel& model, const CGeometry& geometry) {
    const auto check = [](const char* what, std::uint64_t has, std::uint64_t wanted) {
        if (has != wanted) {
            throw NotOfThisDisk(what, has, wanted);
        }
    };
    check("virtual size", model.params.virtdisksz, geometry.virtualSize);
    check("block size", model.params.payloadblksz, geometry.blockSize);
    check("logical sector size", model.params.logsectsz, geometry.logicalSectorSize);
    check("chunk ratio", model.blocks.ratio, geometry.ratio);
    for (const NVHDX::CBlockChunk& chunk : model.blocks.chunks) {
        if (chunk.IsSectorBitmapPresent() != geometry.hasParent) {
            throw CCommandFailure(
                geometry.hasParent ? "the model is not of this disk: it is of one without parent"
                                   : "the model is not of this disk: it is of one with a parent");
        }
    }
}

/// A missing block would read as zeros.
void CheckCoverage(const CModel& model, const CGeometry& geometry) {
    std::uint64_t left = geometry.BlockCount();
    for (const NVHDX::CBlockChunk& chunk : model.blocks.chunks) {
        const std::uint64_t wanted = std::min(left, model.blocks.ratio);
        if (chunk.getCount() < wanted || chunk.getCount() > model.blocks.ratio) {
            break;
        }
        left -= wanted;
    }
    if (left != 0) {
        throw CCommandFailure(
            "the model does not cover the disk: it has too few or misplaced blocks");
    }
}

/// A place that does not fit a saved number comes back as 0, where the file has its identifier.
void CheckBlocks(const CModel& model) {
    std::uint64_t number = 0;
    for (const NVHDX::CBlockChunk& chunk : model.blocks.chunks) {
        for (const NVHDX::CPayloadBlock& block : chunk.getPayloadBlocks()) {
            const bool isState = block.state >= NVHDX::CPayloadBlock::NotPresent &&
                                 block.state <= NVHDX::CPayloadBlock::PartiallyPresent;
            const bool present = block.state == NVHDX::CPayloadBlock::FullyPresent ||
                                 block.state == NVHDX::CPayloadBlock::PartiallyPresent;
            if (!isState || (present && (block.offset == 0 || block.offset > 0x7FFFFFFF))) {
                throw CCommandFailure(
                    fmt::format("the model has no usable entry for block {}", number));
            }
            ++number;
        }
    }
}

CModel Deserialize(const fs::path& path) {
    const CLibraryName name(path, false);
    CModel model;
    try {
        NVHDX::VHDXMetadataDeserialize(name.Text(), model.blocks, model.params);
    } catch (const std::runtime_error& error) {
        throw CCommandFailure(
            fmt::format("{}: {}", notSaved, Printable(WithoutName(error.what(), name.Text()))));
    }
    return model;
}

void CheckKind(const fs::path& path) {
    std::error_code error;
    switch (NVHDXDisk::KindOf(path, error)) {
        case fs::file_type::not_found:
            throw CCommandFailure("there is no such file");
        case fs::file_type::directory:
            throw CCommandFailure("this is a folder, not a saved model");
        case fs::file_type::none:
            throw CCommandFailure(error.message());
        default:
            break;
    }
}

CModel ReadChecked(const fs::path& path, const CGeometry& geometry, const CDiskIdentity& identity) {
    CheckKind(path);
    CModel model = Deserialize(path);
    CheckGeometry(model, geometry);
    CheckCoverage(model, geometry);
    CheckBlocks(model);
    CheckIdentity(path, identity);
    return model;
}

}  // namespace

void AddModelArgument(CCommandSyntax& command, CFileOptions& disk) {
    command.AddText(
        "--model", "MODEL.xml", disk.model,
        "Take the blocks from this model, which 'vhdx save' wrote, and leave the block "
        "allocation table unread. Refused when the disk is another one or has changed since: "
        "identifiers, sizes, the header's sequence number, the file's length and time of "
        "change are compared. Not noticed is what another program changes afterwards, or "
        "without the file's time showing it: within the grain of that time, through mapped "
        "memory, on a device. Close the disk first");
}

CModel ReadModel(const std::string& file, const CGeometry& geometry,
                 const CDiskIdentity& identity) {
    try {
        if (file == "-") {
            throw CCommandFailure(
                "a model has its identity beside it, and standard input has none");
        }
        return ReadChecked(PathOf(file), geometry, identity);
    } catch (const CCommandFailure& failure) {
        throw CCommandFailure(file, failure.what());
    }
}

}  // namespace NTool
