#include "tools/vhdx/library_diff.h"

#include <filesystem>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

#include <vhdx_disk/path_query.h>
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/json_value.h"
#include "tools/vhdx/notes.h"
#include "tools/vhdx/opened_file.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

using namespace NVHDX::NDifferencingVirtualMerge;

/// The names of the library that are those of the platform.
using CPlatformName = std::filesystem::path::string_type;
using CPlatformLetter = CPlatformName::value_type;

using CCircuit = CFileDataCircuit<CPlatformLetter>;
using CPath = std::shared_ptr<CPlatformName>;

constexpr std::uint64_t noOffset = 0xFFFFFFFFFFFFFFFF;

/// One answer takes about 50 bytes of memory, one for each sector.
constexpr std::uint64_t longestRange = std::uint64_t{1} << 30;

using CChainFile = std::shared_ptr<NVHDX::CFileObject<CPlatformLetter>>;
using CChain = NVHDX::NSnapshotCircuit::CSource<CChainFile>;

constexpr const char* note =
    "the library's own answers: offsets are those of the base disk's file, sector bitmaps are read "
    "most significant bit first, logs are left out";

/// The name in a path that the library opened: it shows a '\\' between folder and name everywhere.
CPlatformName NameIn(const CPlatformName& opened) {
    CPlatformName name;
    return NSystem::ExtractFileFolderAndName(nullptr, &name, opened) ? name : opened;
}

std::string NameOf(const CChainFile& file) {
    return NVHDXDisk::TextOf(NameIn(*file->path));
}

std::string NativePath(const std::string& folder, const CPlatformName& opened) {
    return TextOfPath(PathOf(folder) / NameIn(opened));
}

CCommandFailure NotLinked(const NVHDXDisk::CLinkingForecast& linking) {
    std::string text;
    for (const std::string& reason : linking.reasons) {
        text.append(text.empty() ? "" : "; ").append(reason);
    }
    return CCommandFailure("the library cannot link these disks: " + text);
}

/// The folder's chains as the library links them, in the order of their bases' names. Looks first,
/// since the linking has no guard of its own where it would never end.
std::vector<CChain> LinkChains(const CLibraryDiffOptions& options, const NVHDXDisk::CFolder& tree) {
    if (tree.Linking().outcome != NVHDXDisk::CLinkingForecast::links) {
        throw NotLinked(tree.Linking());
    }
    const CTraceWriter trace(options.folder.traceLevel);
    std::vector<CChain> chains;
    if (!NVHDX::NSnapshotCircuit::NBuilder::DoIt(chains, PathOf(options.folder.folder).native())) {
        throw CCommandFailure(trace.FailureOr("the library cannot link these disks"));
    }
    return chains;
}

std::string NamesOfBases(const std::vector<CChain>& chains) {
    std::string names;
    for (const CChain& chain : chains) {
        names.append(names.empty() ? "" : ", ").append(NameOf(chain.base));
    }
    return Printable(names);
}

CChain& Select(std::vector<CChain>& chains, const std::string& base) {
    if (base.empty() && chains.size() == 1) {
        return chains.front();
    }
    for (CChain& chain : chains) {
        if (NameOf(chain.base) == base) {
            return chain;
        }
    }
    const std::string names = NamesOfBases(chains);
    throw CCommandFailure(
        base.empty()
            ? fmt::format("the folder has {} chains; choose one with --base: {}", chains.size(),
                          names)
            : fmt::format("no chain has the base {}; there are: {}", Printable(base), names));
}

/// Throws for the file whose blocks cannot be loaded, where it is that.
void ExplainFailure(const CLibraryDiffOptions& options, const CChain& chain) {
    std::vector<CChainFile> files = chain.snapshots;
    files.push_back(chain.base);
    for (const CChainFile& file : files) {
        CFileOptions disk;
        disk.file = NativePath(options.folder.folder, *file->path);
        disk.traceLevel = options.folder.traceLevel;
        try {
            (void)COpenedFile(disk).LoadModel();
        } catch (const CCommandFailure& failure) {
            throw CCommandFailure(disk.file, failure.what());
        }
    }
}

CCircuit Prepared(const CLibraryDiffOptions& options, CChain& chain) {
    CCircuit circuit;
    {
        const CTraceWriter trace(options.folder.traceLevel);
        const CTraceWriter::CPause pause(trace);
        if (Prepare(circuit, chain)) {
            return circuit;
        }
    }
    ExplainFailure(options, chain);
    throw CCommandFailure(
        "the chain cannot be prepared: a sector bitmap cannot be read, or two blocks of the base "
        "lie at one place");
}

/// A disk that no command reads is not merged either.
void CheckReadable(const NVHDXDisk::CFolder& tree) {
    for (const NVHDXDisk::CTreeFile& file : tree.Files()) {
        if (file.problem) {
            throw CCommandFailure(TextOfPath(file.path), ReasonOf(*file.problem));
        }
    }
}

CCircuit Load(const CLibraryDiffOptions& options) {
    const std::shared_ptr<const NVHDXDisk::CFolder> folder = ScanFolder(options.folder);
    const NVHDXDisk::CFolder& tree = *folder;
    CheckReadable(tree);
    // The merge opens the files for itself, and knows nothing of logs.
    for (const NVHDXDisk::CTreeFile& file : tree.Files()) {
        PrintPending(file.name, file.log.entries);
    }
    std::vector<CChain> chains = LinkChains(options, tree);
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
    CRecordPrinter(const CLibraryDiffOptions& options, std::string_view placeTitle,
                   std::string_view placeKey)
        : m_options(options), m_placeKey(placeKey), m_output(COutput::Standard()) {
        if (!options.json) {
            m_output.Print(FMT_COMPILE("{}\n"), note);
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
                              : Printable(NVHDXDisk::TextOf(NameIn(*path)));
    }

    const CLibraryDiffOptions& m_options;
    std::string_view m_placeKey;
    COutput m_output;
    std::string_view m_separator = "[\n  ";
    std::map<const CPlatformName*, std::string> m_files;
};

void PrintDifferences(const CLibraryDiffOptions& options, const CCircuit& circuit) {
    CRecordPrinter printer(options, "base offset", "base_offset");
    (void)EnumerateDifferences(circuit, [&printer](std::uint64_t baseOffset, CPath& path,
                                                   std::uint64_t offset, std::uint64_t length) {
        printer.Print(baseOffset, path, offset, length);
        return true;
    });
    printer.Finish();
}

/// Asks for the range at once: in parts the answers past the end of a block would be others.
void PrintAnswers(const CLibraryDiffOptions& options, const CCircuit& circuit) {
    if (*options.length > longestRange) {
        throw CCommandFailure(
            "a range of more than 1 GiB has too many sectors; ask for parts of it");
    }
    std::vector<CGetDifferentialResult<CPlatformLetter>> answers;
    GetDifferential(answers, *options.offset, *options.length, circuit);
    CRecordPrinter printer(options, "base offset", "base_offset");
    std::uint64_t place = *options.offset;
    for (const CGetDifferentialResult<CPlatformLetter>& answer : answers) {
        printer.Print(place, answer.path, answer.offset, answer.length);
        place += answer.length;
    }
    printer.Finish();
}

}  // namespace

void RunLibraryDiff(const CLibraryDiffOptions& options) {
    const CCircuit circuit = Load(options);
    if (options.json) {
        PrintNote(note);
    }
    options.offset ? PrintAnswers(options, circuit) : PrintDifferences(options, circuit);
}

}  // namespace NTool
