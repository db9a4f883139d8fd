// Writes a base disk and two checkpoints into a folder, with --fork another checkpoint beside the
// second one, for demonstrations: qemu-img cannot make differencing disks of this format.

#include <exception>
#include <iostream>
#include <string_view>

#include "tests/tool/chain_disks.h"

int main(int argc, char** argv) {
    const bool fork = argc == 3 && std::string_view(argv[2]) == "--fork";
    if (argc != 2 && !fork) {
        std::cerr << "usage: make_chain FOLDER [--fork]\n";
        return 2;
    }
    try {
        std::filesystem::create_directories(argv[1]);
        fork ? NTest::WriteFork(argv[1]) : NTest::WriteChain(argv[1]);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "make_chain: " << error.what() << '\n';
        return 1;
    }
}
