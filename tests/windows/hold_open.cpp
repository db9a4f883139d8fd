// Another process that writes a disk: opens the file for writing, says so in one line, and holds it
// until its standard input ends.

#include <windows.h>

#include <cstdio>

int main() {
    int count = 0;
    wchar_t** arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    if (arguments == nullptr || count != 2) {
        return 2;
    }
    const HANDLE file =
        CreateFileW(arguments[1], GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    std::puts(file == INVALID_HANDLE_VALUE ? "not open" : "open");
    std::fflush(stdout);
    while (std::getchar() != EOF) {
    }
    CloseHandle(file);
    return 0;
}
