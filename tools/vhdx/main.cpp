#include <cstdio>

#include "tools/vhdx/command_line.h"
#include "tools/vhdx/program.h"
#include "tools/vhdx/standard_streams.h"

int main(int argc, char** argv) {
    NTool::ReserveStandardStreams();
    try {
        return NTool::Run(NTool::CommandLineArguments(argc, argv));
    } catch (...) {
        // Not even the message of an error could be made.
        static_cast<void>(std::fputs("vhdx: there is not enough memory\n", stderr));
        return 1;
    }
}
