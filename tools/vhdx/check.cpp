#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>

#include <fmt/format.h>

#include <vhdx_disk/check.h>
#include <vhdx_disk/path_query.h>
#include "tools/vhdx/arguments.h"
#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/json_value.h"
#include "tools/vhdx/notes.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

using NVHDXDisk::CFinding;

enum ECheckStatus { statusClean = 0, statusFindings = 1, statusNotChecked = 2 };

struct CCheckOptions {
    std::string source;
    bool json = false;
    NVHDXDisk::ELog log = NVHDXDisk::ELog::replay;
    bool fileOnly = false;
};

/// Prints findings as they come: a hostile disk may have more of them than fit into memory.
class CFindingPrinter {
public:
    CFindingPrinter(COutput& output, bool json) : m_output(output), m_json(json) {}

    bool Any() const { return m_count != 0; }

    void Print(const CFinding& finding) {
        m_json ? PrintJson(finding) : PrintText(finding);
        ++m_count;
    }

    void FinishDisk(const std::string& source) {
        if (m_json) {
            EndJson();
        } else if (!Any()) {
            m_output.Print(FMT_COMPILE("{}: nothing is wrong\n"), Printable(source));
        }
    }

    /// An array of findings has no place for how many disks there were.
    void FinishFolder(const std::string& source, std::size_t disks) {
        const std::string read = fmt::format("{} {} read", disks, disks == 1 ? "disk" : "disks");
        if (m_json) {
            EndJson();
            PrintNote(fmt::format("{}: {}", source, read));
        } else {
            m_output.Print(FMT_COMPILE("{}: {}, {}\n"), Printable(source), read, CountText());
        }
    }

private:
    void PrintText(const CFinding& finding) {
        m_output.Print(FMT_COMPILE("{}: {}: {} ({})\n"), Printable(NVHDXDisk::TextOf(finding.file)),
                       finding.place, finding.text, finding.kind);
    }

    void PrintJson(const CFinding& finding) {
        const CJsonValue::CMembers value = {{"file", NVHDXDisk::TextOf(finding.file)},
                                            {"where", finding.place},
                                            {"kind", finding.kind},
                                            {"severity", NVHDXDisk::NameOf(finding.severity)},
                                            {"text", finding.text}};
        m_output.Append(Any() ? ",\n  " : "[\n  ");
        m_output.Append(JsonText(value));
    }

    void EndJson() { m_output.Append(Any() ? "\n]\n" : "[]\n"); }

    std::string CountText() const {
        return !Any() ? "nothing is wrong"
                      : fmt::format("{} {}", m_count, m_count == 1 ? "finding" : "findings");
    }

    COutput& m_output;
    bool m_json;
    std::uint64_t m_count = 0;
};

/// What the library calls for each finding.
NVHDXDisk::CFindingCallback PrintTo(CFindingPrinter& printer) {
    return [&printer](const CFinding& finding) { printer.Print(finding); };
}

void CheckDisk(const CCheckOptions& options, const std::filesystem::path& disk,
               CFindingPrinter& printer) {
    NVHDXDisk::CFailure failure;
    const auto parents =
        options.fileOnly ? NVHDXDisk::EParentCheck::tie : NVHDXDisk::EParentCheck::complete;
    if (!NVHDXDisk::CheckDisk(disk, options.log, parents, PrintTo(printer), failure)) {
        throw FailureOf(failure);
    }
    printer.FinishDisk(options.source);
}

void CheckFolder(const CCheckOptions& options, const std::filesystem::path& folder,
                 CFindingPrinter& printer) {
    if (options.fileOnly) {
        throw CCommandFailure("this is a folder, and --file-only is for one file");
    }
    NVHDXDisk::CFailure failure;
    std::size_t disks = 0;
    if (!NVHDXDisk::CheckFolder(folder, options.log, PrintTo(printer), disks, failure)) {
        throw FailureOf(failure);
    }
    printer.FinishFolder(options.source, disks);
}

int RunCheck(const CCheckOptions& options) {
    const std::filesystem::path source = PathOf(options.source);
    COutput output = COutput::Standard();
    CFindingPrinter printer(output, options.json);
    IsFolder(options.source) ? CheckFolder(options, source, printer)
                             : CheckDisk(options, source, printer);
    output.Flush();
    return printer.Any() ? statusFindings : statusClean;
}

}  // namespace

void AddCheck(CProgramSyntax& program, CChosenCommand& chosen) {
    const auto options = std::make_shared<CCheckOptions>();
    CCommandSyntax command = program.AddCommand(
        "check",
        "Whether a disk, or all disks of a folder and of those below it, are as the format wants "
        "them");
    command.AddPlaced("SOURCE", options->source, "A disk file (.vhdx or .avhdx), or a folder");
    command.AddFlag(
        "--json", options->json,
        R"(Print an array of {"file", "where", "kind", "severity", "text"}, one for each )"
        "finding; the severity is error, warning or note");
    command.AddFlag("--file-only", options->fileOnly,
                    "Of the parents of a disk file only check that each can be opened and is the "
                    "right one, and leave the rest of their files unchecked");
    AddNoReplayArgument(command, options->log,
                        "Check the file as it stands, without the entries of its log that are "
                        "pending");
    command.SetFooter(
        "Checks headers, region tables, checksums, the log, the metadata, every entry of the\n"
        "block allocation table and the ties between child and parent; reads no block's data.\n"
        "With a disk file its parents are checked as it is, each finding under the name of its "
        "file.\n"
        "In a folder the extensions .vhdx and .avhdx count in any case, and links to folders are\n"
        "not followed. It ends with how many disks were read, with --json on standard error; what\n"
        "cannot be read is a finding.\n"
        "Exit status: 0 nothing is wrong, 1 there are findings, 2 it could not be checked.\n"
        "Example: vhdx check folder");
    command.WhenChosen([&chosen, options] {
        chosen.subject = options->source;
        chosen.failedStatus = statusNotChecked;
        chosen.run = [&chosen, options] { chosen.doneStatus = RunCheck(*options); };
    });
}

}  // namespace NTool
