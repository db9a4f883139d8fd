#include <array>
#include <memory>
#include <string>
#include <string_view>

#include "tools/vhdx/arguments.h"
#include "tools/vhdx/json_value.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

using NVHDX::CPayloadBlock;

struct CInfoOptions {
    CFileOptions disk;
    bool json = false;
    bool noBlocks = false;
};

constexpr std::array<CPayloadBlock::EState, 6> states = {
    CPayloadBlock::NotPresent, CPayloadBlock::Undefined,    CPayloadBlock::Zero,
    CPayloadBlock::Unmapped,   CPayloadBlock::FullyPresent, CPayloadBlock::PartiallyPresent};

using CTablePointer = std::shared_ptr<const NVHDXDisk::CBlockTable>;

struct CInfo {
    std::string file;
    std::uint64_t fileSize = 0;
    NVHDX::NMetadata::CFileParameters parameters;
    std::uint16_t logicalSectorSize = 0;
    std::uint16_t physicalSectorSize = 0;
    std::uint64_t virtualSize = 0;
    std::string page83;
    NVHDX::NMetadata::CParent parent;
    std::uint64_t ratio = 0;
    std::uint64_t chunks = 0;
    CTablePointer blocks;  ///< null: not wanted
};

const char* TypeName(const NVHDX::NMetadata::CFileParameters& parameters) {
    if (parameters.hasParent) {
        return "differencing";
    }
    return parameters.leaveBlocksAllocated ? "fixed" : "dynamic";
}

CInfo Gather(COpenedFile& disk, bool noBlocks) {
    using namespace NVHDX::NMetadata;
    CInfo info;
    info.file = disk.File();
    info.fileSize = disk.FileSize();
    const CGeometry geometry = disk.Geometry();
    info.parameters = disk.Item<CFileParameters>();
    info.virtualSize = geometry.virtualSize;
    info.page83 = GuidText(disk.Item<CPage83Data>().page83Data);
    info.logicalSectorSize = geometry.logicalSectorSize;
    info.physicalSectorSize = disk.Item<CPhysicalSectorSize>().sectorSize;
    info.parent = disk.Item<CParent>();
    info.ratio = geometry.ratio;
    info.chunks = geometry.ChunkCount();
    if (!noBlocks) {
        info.blocks = disk.Table(NVHDXDisk::CBlockTable::runsNotWanted);
    }
    return info;
}

using CMembers = CJsonValue::CMembers;

CMembers BlocksJson(const NVHDXDisk::CBlockTable& blocks) {
    CMembers json = {{"total", blocks.BlockCount()}};
    for (const CPayloadBlock::EState state : states) {
        json.push_back({std::string(StateName(state)), blocks.Count(state)});
    }
    return json;
}

CJsonValue ParentJson(const NVHDX::NMetadata::CParent& parent) {
    if (!parent.present) {
        return {};
    }
    CMembers json;
    for (const auto& [format, entry] : parent.entries) {
        json.push_back({std::string(LocatorKey(format)), Utf8(entry.value)});
    }
    return json;
}

CMembers InfoJson(const CInfo& info) {
    return {
        {"file", info.file},
        {"size", info.fileSize},
        {"type", TypeName(info.parameters)},
        {"payloadblksz", info.parameters.blockSize},
        {"logsectsz", info.logicalSectorSize},
        {"physical_sector_size", info.physicalSectorSize},
        {"virtdisksz", info.virtualSize},
        {"page83", info.page83},
        {"leaveBlocksAllocated", info.parameters.leaveBlocksAllocated},
        {"bDifferencing", info.parameters.hasParent},
        {"maxFileOffset",
         info.blocks ? CJsonValue(info.blocks->Parameters().maxFileOffset) : CJsonValue()},
        {"lastPayloadBlockIndex",
         info.blocks ? CJsonValue(info.blocks->Parameters().lastPayloadBlockIndex) : CJsonValue()},
        {"ratio", info.ratio},
        {"chunks", info.chunks},
        {"blocks", info.blocks ? CJsonValue(BlocksJson(*info.blocks)) : CJsonValue()},
        {"parent", ParentJson(info.parent)},
    };
}

void PrintJson(const CInfo& info, COutput& output) {
    output.Append(JsonLines(InfoJson(info)));
    output.Append("\n");
}

class CLines {
public:
    explicit CLines(COutput& output) : m_output(output) {}

    void Title(const std::string& text) {
        m_output.Append((m_output.IsColoured() ? "\x1B[1m" + text + "\x1B[0m" : text) + "\n");
    }
    void Line(std::string_view label, const std::string& value) {
        m_output.Print(FMT_COMPILE("  {:<22}{}\n"), label, value);
    }
    void Count(std::string_view label, std::uint64_t count) {
        m_output.Print(FMT_COMPILE("    {:<20}{}\n"), label, count);
    }

private:
    COutput& m_output;
};

void PrintBlocks(const NVHDXDisk::CBlockTable& blocks, CLines& lines) {
    const NVHDX::CFileParameters& parameters = blocks.Parameters();
    lines.Line("end of the last data", SizeText(parameters.maxFileOffset));
    lines.Line("block with that data", std::to_string(parameters.lastPayloadBlockIndex));
    lines.Line("blocks", std::to_string(blocks.BlockCount()));
    for (const CPayloadBlock::EState state : states) {
        lines.Count(StateName(state), blocks.Count(state));
    }
}

void PrintText(const CInfo& info, COutput& output) {
    CLines lines(output);
    lines.Title(Printable(info.file));
    lines.Line("file size", SizeText(info.fileSize));
    lines.Line("type", TypeName(info.parameters));
    lines.Line("virtual size", SizeText(info.virtualSize));
    lines.Line("block size", SizeText(info.parameters.blockSize));
    lines.Line("logical sector size", SizeText(info.logicalSectorSize));
    lines.Line("physical sector size", SizeText(info.physicalSectorSize));
    lines.Line("page 83 identifier", info.page83);
    lines.Line("blocks stay allocated", info.parameters.leaveBlocksAllocated ? "yes" : "no");
    lines.Line("chunk ratio", std::to_string(info.ratio));
    lines.Line("chunks", std::to_string(info.chunks));
    if (info.blocks) {
        PrintBlocks(*info.blocks, lines);
    } else {
        lines.Line("blocks", "not read");
    }
    lines.Line("parent", info.parent.present
                             ? fmt::format("{} locator entries", info.parent.entries.size())
                             : "none");
    for (const auto& [format, entry] : info.parent.entries) {
        output.Print(FMT_COMPILE("    {:<20}{}\n"), LocatorKey(format),
                     Printable(Utf8(entry.value)));
    }
}

void RunInfo(const CInfoOptions& options) {
    COpenedFile disk(options.disk);
    const CInfo info = Gather(disk, options.noBlocks);
    COutput output = COutput::Standard();
    options.json ? PrintJson(info, output) : PrintText(info, output);
    output.Flush();
    disk.CheckUnchanged();
}

}  // namespace

void AddInfo(CProgramSyntax& program, CChosenCommand& chosen) {
    const auto options = std::make_shared<CInfoOptions>();
    CCommandSyntax command = program.AddCommand("info", "What a disk is, and what its blocks hold");
    AddDiskArguments(command, options->disk);
    command.AddFlag("--json", options->json, "Print one JSON object");
    command.AddFlag("--no-blocks", options->noBlocks,
                    "Leave the block allocation table unread: just as fast for any disk");
    command.SetFooter("Example: vhdx info --json disk.vhdx");
    Choose(command, chosen, options, RunInfo);
}

}  // namespace NTool
