#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>

#include <nlohmann/json.hpp>

#include "host/disk_check.h"
#include "host/locator_path.h"
#include "host/path_query.h"
#include "tools/vhdx/arguments.h"
#include "tools/vhdx/cli11.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/failure.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/source_file.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

using NVHDXHost::CCheckFinding;

enum ECheckStatus { statusClean = 0, statusFindings = 1, statusNotChecked = 2 };

struct CCheckOptions {
    std::string source;
    bool json = false;
    NVHDXHost::CReplayStream::EMode logMode = NVHDXHost::CReplayStream::replayLog;
};

/// Prints findings as they come: a hostile disk may have more of them than fit into memory.
class CFindingPrinter {
public:
    CFindingPrinter(COutput& output, bool json) : m_output(output), m_json(json) {}

    bool Any() const { return m_any; }

    void Print(const CCheckFinding& finding) {
        m_json ? PrintJson(finding) : PrintText(finding);
        m_any = true;
    }

    void Finish(const std::string& source) {
        if (m_json) {
            m_output.Append(m_any ? "\n]\n" : "[]\n");
        } else if (!m_any) {
            m_output.Print(FMT_COMPILE("{}: nothing is wrong\n"), Printable(source));
        }
    }

private:
    void PrintText(const CCheckFinding& finding) {
        m_output.Print(FMT_COMPILE("{}: {}: {} ({})\n"),
                       Printable(NVHDXHost::TextFromPath(finding.file)), finding.where,
                       Printable(finding.text), finding.kind);
    }

    void PrintJson(const CCheckFinding& finding) {
        const nlohmann::ordered_json value = {{"file", NVHDXHost::TextFromPath(finding.file)},
                                              {"where", finding.where},
                                              {"kind", finding.kind},
                                              {"text", finding.text}};
        m_output.Append(m_any ? ",\n  " : "[\n  ");
        m_output.Append(
            value.dump(-1, ' ', true, nlohmann::ordered_json::error_handler_t::replace));
    }

    COutput& m_output;
    bool m_json;
    bool m_any = false;
};

int RunCheck(const CCheckOptions& options) {
    const std::filesystem::path source = PathOf(options.source);
    COutput output = COutput::Standard();
    CFindingPrinter printer(output, options.json);
    const auto report = [&printer](const CCheckFinding& finding) { printer.Print(finding); };
    std::string error;
    const bool isFolder = NVHDXHost::IsFolder(source);
    if (!isFolder) {
        CheckIsFile(options.source);
    }
    const bool checked = isFolder ? NVHDXHost::CheckFolder(source, options.logMode, report, error)
                                  : NVHDXHost::CheckDisk(source, options.logMode, report, error);
    if (!checked) {
        throw CFailure(error);
    }
    printer.Finish(options.source);
    output.Flush();
    return printer.Any() ? statusFindings : statusClean;
}

}  // namespace

void AddCheck(CLI::App& program, CChosenCommand& chosen) {
    const auto options = std::make_shared<CCheckOptions>();
    CLI::App& command = *program.add_subcommand(
        "check", "Whether a disk, or all disks of a folder, are as the format wants them");
    command.add_option("SOURCE", options->source, "A disk file (.vhdx or .avhdx), or a folder")
        ->required()
        ->type_name("");
    command.add_flag(
        "--json", options->json,
        R"(Print an array of {"file", "where", "kind", "text"}, one for each finding)");
    AddNoReplayArgument(command, options->logMode,
                        "Check the file as it stands, without the entries of its log that are "
                        "pending");
    command.footer(
        "Checks headers, region tables, checksums, the log, the metadata, every entry of the\n"
        "block allocation table and the ties between child and parent; reads no block's data.\n"
        "Exit status: 0 nothing is wrong, 1 there are findings, 2 it could not be checked.\n"
        "Example: vhdx check folder");
    command.callback([&chosen, options] {
        chosen.subject = options->source;
        chosen.failedStatus = statusNotChecked;
        chosen.run = [&chosen, options] { chosen.doneStatus = RunCheck(*options); };
    });
}

}  // namespace NTool
