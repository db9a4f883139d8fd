#include <cstdio>

#include "tools/vhdx/command_line.h"
#include "tools/vhdx/program.h"

int main(int argc, char** argv) {
    try {
        return NTool::Run(NTool::CommandLineArguments(argc, argv));
    } catch (...) {
        // Not even the message of an error could be made.
        static_cast<void>(std::fputs("vhdx: there is not enough memory\n", stderr));
        return 1;
    }
}
