#include "tools/vhdx/program.h"

#include <cstdio>
#include <exception>
#include <new>
#include <optional>

#include "tools/vhdx/command.h"
#include "tools/vhdx/command_failure.h"
#include "tools/vhdx/command_syntax.h"
#include "tools/vhdx/open_files.h"
#include "tools/vhdx/output.h"
#include "tools/vhdx/text.h"

namespace NTool {

namespace {

enum EExitStatus { statusDone = 0, statusFailed = 1, statusWrongUsage = 2 };

void PrintError(const std::string& text) {
    const std::string line = "vhdx: " + text + "\n";
    (void)std::fwrite(line.data(), 1, line.size(), stderr);
}

void AddCommands(CProgramSyntax& program, CChosenCommand& chosen) {
    AddInfo(program, chosen);
    AddMap(program, chosen);
    AddRead(program, chosen);
    AddLocate(program, chosen);
    AddChanges(program, chosen);
    AddBitmap(program, chosen);
    AddSave(program, chosen);
    AddChain(program, chosen);
    AddDiff(program, chosen);
    AddExport(program, chosen);
    AddCheck(program, chosen);
    AddServe(program, chosen);
}

/// Help and version go to standard output like any result.
int PrintHelp(const std::string& text) {
    COutput output = COutput::Standard();
    output.Append(text);
    output.Flush();
    return statusDone;
}

int Fail(const std::string& subject, const std::string& reason) {
    PrintError(Printable(subject) + ": " + reason);
    return statusFailed;
}

/// Runs what cannot fail but for reasons of the file, the machine or the output.
template <class TRun>
int Guarded(const std::string& subject, TRun run) {
    try {
        return run();
    } catch (const CClosedPipe&) {
        return statusFailed;
    } catch (const CCommandFailure& failure) {
        return Fail(failure.Subject().empty() ? subject : failure.Subject(), failure.what());
    } catch (const std::bad_alloc&) {
        return Fail(subject, "there is not enough memory");
    } catch (const std::exception& error) {
        return Fail(subject, Printable(error.what()));
    }
}

int RunChosen(CChosenCommand& chosen) {
    const int status = Guarded(chosen.subject, [&chosen] {
        chosen.run();
        return statusDone;
    });
    return status == statusDone ? chosen.doneStatus : chosen.failedStatus;
}

}  // namespace

int Run(const std::vector<std::string>& arguments) {
    LetWritesFail();
    OpenAsManyFilesAsAllowed();
    CProgramSyntax program(
        "vhdx", "Looks into virtual hard disks in the VHDX format. Never changes them.",
        "vhdx " VHDX_VERSION,
        "Exit status: 0 done, 1 the file was refused or could not be read, 2 wrong usage.\n"
        "Example: vhdx info disk.vhdx\n"
        "'vhdx COMMAND --help' tells more about a command.");
    CChosenCommand chosen;
    AddCommands(program, chosen);
    try {
        if (const std::optional<std::string> help = program.Parse(arguments)) {
            return Guarded("help", [&help] { return PrintHelp(*help); });
        }
    } catch (const CUsageError& error) {
        PrintError(Printable(error.what()) + " (vhdx --help shows the usage)");
        return statusWrongUsage;
    }
    return RunChosen(chosen);
}

}  // namespace NTool
