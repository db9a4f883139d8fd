#include <algorithm>
#include <cstdio>
#include <exception>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "tools/vhdx/cli11.h"
#include "tools/vhdx/command.h"
#include "tools/vhdx/command_line.h"
#include "tools/vhdx/failure.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/text.h"

namespace {

enum EExitStatus { statusDone = 0, statusFailed = 1, statusWrongUsage = 2 };

void PrintError(const std::string& text) {
    const std::string line = "vhdx: " + text + "\n";
    (void)std::fwrite(line.data(), 1, line.size(), stderr);
}

void AddCommands(CLI::App& program, NTool::CChosenCommand& chosen) {
    program.set_version_flag("--version", "vhdx " VHDX_VERSION);
    program.require_subcommand(1);
    program.get_formatter()->column_width(22);
    program.footer(
        "Exit status: 0 done, 1 the file was refused or could not be read, 2 wrong usage.\n"
        "Example: vhdx info disk.vhdx\n"
        "'vhdx COMMAND --help' tells more about a command.");
    NTool::AddInfo(program, chosen);
    NTool::AddMap(program, chosen);
    NTool::AddRead(program, chosen);
    NTool::AddLocate(program, chosen);
    NTool::AddChanges(program, chosen);
    NTool::AddBitmap(program, chosen);
    NTool::AddSave(program, chosen);
    NTool::AddChain(program, chosen);
    NTool::AddDiff(program, chosen);
    NTool::AddExport(program, chosen);
    NTool::AddCheck(program, chosen);
    NTool::AddServe(program, chosen);
}

/// Help and version go to standard output like any result.
int PrintHelp(const CLI::App& program, const CLI::ParseError& wanted) {
    std::ostringstream text;
    program.exit(wanted, text, text);
    NTool::COutput output = NTool::COutput::Standard();
    output.Append(text.str());
    output.Flush();
    return statusDone;
}

int Fail(const std::string& subject, const std::string& reason) {
    PrintError(NTool::Printable(subject) + ": " + reason);
    return statusFailed;
}

/// Runs what cannot fail but for reasons of the file, the machine or the output.
template <class TRun>
int Guarded(const std::string& subject, TRun run) {
    try {
        return run();
    } catch (const NTool::CClosedPipe&) {
        return statusFailed;
    } catch (const NTool::CFailure& failure) {
        return Fail(failure.Subject().empty() ? subject : failure.Subject(), failure.what());
    } catch (const std::bad_alloc&) {
        return Fail(subject, "there is not enough memory");
    } catch (const std::exception& error) {
        return Fail(subject, NTool::Printable(error.what()));
    }
}

int Run(int argc, char** argv) {
    CLI::App program("Looks into virtual hard disks in the VHDX format. Never changes them.",
                     "vhdx");
    NTool::CChosenCommand chosen;
    AddCommands(program, chosen);
    try {
        std::vector<std::string> arguments = NTool::CommandLineArguments(argc, argv);
        std::reverse(arguments.begin(), arguments.end());  // the parser takes the last one first
        program.parse(arguments);
    } catch (const CLI::Success& wanted) {
        return Guarded("help", [&] { return PrintHelp(program, wanted); });
    } catch (const CLI::ParseError& error) {
        PrintError(NTool::Printable(error.what()) + " (vhdx --help shows the usage)");
        return statusWrongUsage;
    }
    const int status = Guarded(chosen.subject, [&chosen] {
        chosen.run();
        return statusDone;
    });
    return status == statusDone ? chosen.doneStatus : chosen.failedStatus;
}

}  // namespace

int main(int argc, char** argv) {
    NTool::LetWritesFail();
    try {
        return Run(argc, argv);
    } catch (...) {
        // Not even the message of an error could be made.
        static_cast<void>(std::fputs("vhdx: there is not enough memory\n", stderr));
        return statusFailed;
    }
}
