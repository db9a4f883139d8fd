#ifndef VHDX_PARSER_TOOLS_VHDX_COMMAND_H
#define VHDX_PARSER_TOOLS_VHDX_COMMAND_H

#include <functional>
#include <string>

namespace NTool {

class CProgramSyntax;

/// The command that the arguments name. It runs after all arguments have been understood, so that
/// wrong usage and a failed command cannot be taken for one another.
struct CChosenCommand {
    std::string subject;  ///< the file that it works on, for messages
    std::function<void()> run;
    int doneStatus = 0;    ///< the exit status when it has run to its end; `run` may change it
    int failedStatus = 1;  ///< and when it could not
};

// Each adds one command to the program; when the arguments name it, it fills `chosen`.
void AddInfo(CProgramSyntax& program, CChosenCommand& chosen);
void AddMap(CProgramSyntax& program, CChosenCommand& chosen);
void AddRead(CProgramSyntax& program, CChosenCommand& chosen);
void AddLocate(CProgramSyntax& program, CChosenCommand& chosen);
void AddChanges(CProgramSyntax& program, CChosenCommand& chosen);
void AddBitmap(CProgramSyntax& program, CChosenCommand& chosen);
void AddSave(CProgramSyntax& program, CChosenCommand& chosen);
void AddChain(CProgramSyntax& program, CChosenCommand& chosen);
void AddDiff(CProgramSyntax& program, CChosenCommand& chosen);
void AddExport(CProgramSyntax& program, CChosenCommand& chosen);
void AddCheck(CProgramSyntax& program, CChosenCommand& chosen);
void AddServe(CProgramSyntax& program, CChosenCommand& chosen);

}  // namespace NTool

#endif
