// Prints the names that a DLL exports, one a line, in the order of its table.

#include <cstdio>

#include "tests/windows/loaded_library.h"

int main(int count, char** arguments) {
    if (count != 2) {
        std::fputs("usage: exported_names LIBRARY\n", stderr);
        return 2;
    }
    const NTest::CLoadedLibrary library(arguments[1]);
    if (!library) {
        std::fprintf(stderr, "the library does not load: error %lu\n", GetLastError());
        return 1;
    }
    for (const std::string& name : library.ExportedNames()) {
        std::puts(name.c_str());
    }
    return 0;
}
