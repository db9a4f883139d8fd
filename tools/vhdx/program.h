#ifndef VHDX_TOOLS_VHDX_PROGRAM_H
#define VHDX_TOOLS_VHDX_PROGRAM_H

#include <string>
#include <vector>

namespace NTool {

/// The whole program on these arguments, which stand behind its name: from the reading of the
/// arguments to the last message. Returns the exit status. Throws only where not even the message
/// of an error could be made. Writes to standard output and standard error; may be called once in a
/// process, which it changes for good (signals, what standard output holds).
int Run(const std::vector<std::string>& arguments);

}  // namespace NTool

#endif
