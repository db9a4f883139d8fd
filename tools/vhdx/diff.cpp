#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/vhdx/arguments.h"
#include "tools/vhdx/folder.h"
#include "tools/vhdx/notes.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

using namespace NVHDX::NDifferencingVirtualMerge;

using CCircuit = CFileDataCircuit<NVHDXHost::CPlatformLetter>;
using CPath = std::shared_ptr<NVHDXHost::CPlatformName>;

constexpr std::uint64_t noOffset = 0xFFFFFFFFFFFFFFFF;

/// One answer takes about 50 bytes of memory, one for each sector.
constexpr std::uint64_t longestRange = std::uint64_t{1} << 30;

struct CDiffOptions {
    CFolderOptions folder;
    std::string base;
    std::optional<std::uint64_t> offset;
    std::optional<std::uint64_t> length;
    bool json = false;
};

std::string NamesOfBases(const std::vector<CChain>& chains) {
    std::string names;
    for (const CChain& chain : chains) {
        names.append(names.empty() ? "" : ", ").append(NameIn(*chain.base->path));
    }
    return Printable(names);
}

CChain& Select(std::vector<CChain>& chains, const std::string& base) {
    if (base.empty() && chains.size() == 1) {
        return chains.front();
    }
    for (CChain& chain : chains) {
        if (NameIn(*chain.base->path) == base) {
            return chain;
        }
    }
    const std::string names = NamesOfBases(chains);
    throw CFailure(
        base.empty()
            ? fmt::format("the folder has {} chains; choose one with --base: {}", chains.size(),
                          names)
            : fmt::format("no chain has the base {}; there are: {}", Printable(base), names));
}

/// Throws for the file whose blocks cannot be loaded, where it is that.
void ExplainFailure(const CDiffOptions& options, const CChain& chain) {
    std::vector<CChainFile> files = chain.snapshots;
    files.push_back(chain.base);
    for (const CChainFile& file : files) {
        CDiskOptions disk;
        disk.file = NativePath(options.folder.folder, *file->path);
        disk.traceLevel = options.folder.traceLevel;
        try {
            (void)CDisk(disk).LoadModel();
        } catch (const CFailure& failure) {
            throw CFailure(disk.file, failure.what());
        }
    }
}

CCircuit Prepared(const CDiffOptions& options, CChain& chain) {
    CCircuit circuit;
    {
        const CTraceWriter trace(options.folder.traceLevel);
        const CTraceWriter::CPause pause(trace);
        if (Prepare(circuit, chain)) {
            return circuit;
        }
    }
    ExplainFailure(options, chain);
    throw CFailure(
        "the chain cannot be prepared: a sector bitmap cannot be read, or two blocks of the base "
        "lie at one place");
}

/// A disk that no command reads is not merged either.
void CheckReadable(const CDiffOptions& options, const NVHDXHost::CFolderTree& tree) {
    for (const NVHDXHost::CFolderFile& file : tree.Files()) {
        if (!file.problem.empty()) {
            throw CFailure(NativePath(options.folder.folder, file.name), Printable(file.problem));
        }
    }
}

CCircuit Load(const CDiffOptions& options) {
    std::vector<CChain> chains;
    {
        const CTraceWriter trace(options.folder.traceLevel);
        const NVHDXHost::CFolderTree tree = ScanFolder(options.folder);
        CheckReadable(options, tree);
        // The merge opens the files for itself, and knows nothing of logs.
        for (const NVHDXHost::CFolderFile& file : tree.Files()) {
            PrintPending(file.name, file.replay.entries);
        }
        chains = LinkChains(options.folder.folder, tree, trace);
    }
    return Prepared(options, Select(chains, options.base));
}

std::string NumberOrNull(std::uint64_t offset) {
    return offset == noOffset ? "null" : std::to_string(offset);
}

std::string NumberOrDash(std::uint64_t offset) {
    return offset == noOffset ? "-" : std::to_string(offset);
}

/// Prints records one by one, as JSON or as a table.
class CRecordPrinter {
public:
    CRecordPrinter(const CDiffOptions& options, std::string_view placeTitle,
                   std::string_view placeKey)
        : m_options(options), m_placeKey(placeKey), m_output(COutput::Standard()) {
        if (!options.json) {
            const bool coloured = m_output.IsColoured();
            m_output.Print(FMT_COMPILE("{}{:>17}  {:>17}  {:>17}  {:>10}  {}{}\n"),
                           coloured ? "\x1B[1m" : "", placeTitle, "length", "file offset", "",
                           "file", coloured ? "\x1B[0m" : "");
        }
    }

    void Print(std::uint64_t place, const CPath& path, std::uint64_t offset, std::uint64_t length) {
        m_options.json ? PrintJson(place, path, offset, length)
                       : PrintText(place, path, offset, length);
    }

    void Finish() {
        if (m_options.json) {
            m_output.Append(m_separator == ",\n  " ? "\n]\n" : "[]\n");
        }
        m_output.Flush();
    }

private:
    void PrintJson(std::uint64_t place, const CPath& path, std::uint64_t offset,
                   std::uint64_t length) {
        m_output.Append(m_separator);
        m_output.Print(FMT_COMPILE("{{\"{}\": {}, \"file\": {}, \"offset\": {}, \"length\": {}}}"),
                       m_placeKey, NumberOrNull(place), FileText(path), NumberOrNull(offset),
                       length);
        m_separator = ",\n  ";
    }

    void PrintText(std::uint64_t place, const CPath& path, std::uint64_t offset,
                   std::uint64_t length) {
        m_output.Print(FMT_COMPILE("{:>17}  {:>17}  {:>17}  {:>10}  {}\n"), NumberOrDash(place),
                       length, NumberOrDash(offset), InUnits(length), FileText(path));
    }

    /// Composed once for each file.
    const std::string& FileText(const CPath& path) {
        const auto [text, isNew] = m_files.try_emplace(path.get());
        if (isNew) {
            text->second = Compose(path);
        }
        return text->second;
    }

    std::string Compose(const CPath& path) const {
        if (path == nullptr) {
            return m_options.json ? "null" : "-";
        }
        return m_options.json ? JsonText(NativePath(m_options.folder.folder, *path))
                              : Printable(NameIn(*path));
    }

    const CDiffOptions& m_options;
    std::string_view m_placeKey;
    COutput m_output;
    std::string_view m_separator = "[\n  ";
    std::map<const NVHDXHost::CPlatformName*, std::string> m_files;
};

void PrintDifferences(const CDiffOptions& options, const CCircuit& circuit) {
    CRecordPrinter printer(options, "base offset", "base_offset");
    (void)EnumerateDifferences(circuit, [&printer](std::uint64_t baseOffset, CPath& path,
                                                   std::uint64_t offset, std::uint64_t length) {
        printer.Print(baseOffset, path, offset, length);
        return true;
    });
    printer.Finish();
}

/// Asks for the range at once: in parts the answers past the end of a block would be others.
void PrintAnswers(const CDiffOptions& options, const CCircuit& circuit) {
    if (*options.length > longestRange) {
        throw CFailure("a range of more than 1 GiB has too many sectors; ask for parts of it");
    }
    std::vector<CGetDifferentialResult<NVHDXHost::CPlatformLetter>> answers;
    GetDifferential(answers, *options.offset, *options.length, circuit);
    CRecordPrinter printer(options, "base offset", "base_offset");
    std::uint64_t place = *options.offset;
    for (const CGetDifferentialResult<NVHDXHost::CPlatformLetter>& answer : answers) {
        printer.Print(place, answer.path, answer.offset, answer.length);
        place += answer.length;
    }
    printer.Finish();
}

void RunDiff(const CDiffOptions& options) {
    const CCircuit circuit = Load(options);
    options.offset ? PrintAnswers(options, circuit) : PrintDifferences(options, circuit);
}

void AddRange(CLI::App& command, CDiffOptions& options) {
    CLI::Option* const offset = AddSizeArgument(
        command, "--offset",
        "Tell of each sector of a range which file holds it; the range starts here in the base "
        "disk's file (not on the virtual disk), in bytes; K, M, G and T multiply by powers of 1024",
        [&options](std::uint64_t size) { options.offset = size; });
    CLI::Option* const length =
        AddSizeArgument(command, "--length", "How long the range is, as --offset",
                        [&options](std::uint64_t size) { options.length = size; });
    offset->needs(length);
    length->needs(offset);
}

}  // namespace

void AddDiff(CLI::App& program, CChosenCommand& chosen) {
    const auto options = std::make_shared<CDiffOptions>();
    CLI::App& command = *program.add_subcommand(
        "diff", "What the checkpoints of a chain hold in place of the base disk's data");
    AddFolderArguments(command, options->folder);
    command
        .add_option("--base", options->base,
                    "The file name of the chain's base disk, where the "
                    "folder has several chains")
        ->type_name("NAME");
    AddRange(command, *options);
    command.add_flag(
        "--json", options->json,
        R"(Print an array of {"base_offset", "file", "offset", "length"}; "base_offset" is null )"
        R"(where the base holds no data, "file" and "offset" where no checkpoint does)");
    command.footer(
        "Runs come chunk by chunk, the newest checkpoint first; what several checkpoints hold is "
        "told for\neach of them. Sector bitmaps are read most significant bit first.\n"
        "Example: vhdx diff /vm/disks --base disk.vhdx");
    ChooseFolder(command, chosen, options, RunDiff);
}

}  // namespace NTool
