/// run_measured OUT PROGRAM [ARGUMENT...]
///
/// Runs a program with its standard output in the file OUT, and prints "NANOSECONDS KIBIBYTES": how
/// long it took from its start to its end, and the most memory that it had resident. Ends with the
/// status of the program.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

int main(int argumentCount, char** arguments) {
    if (argumentCount < 3) {
        std::fputs("usage: run_measured OUT PROGRAM [ARGUMENT...]\n", stderr);
        return 2;
    }
    const int output = ::open(arguments[1], O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (output < 0) {
        std::perror(arguments[1]);
        return 2;
    }
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = ::vfork();
    if (child == 0) {
        if (::dup2(output, STDOUT_FILENO) >= 0) {
            ::execvp(arguments[2], arguments + 2);
        }
        ::_exit(127);
    }
    int status = 0;
    rusage usage = {};
    if (child < 0 || ::wait4(child, &status, 0, &usage) != child) {
        std::perror(arguments[2]);
        return 2;
    }
    const std::chrono::nanoseconds taken = std::chrono::steady_clock::now() - start;
    std::printf("%lld %ld\n", static_cast<long long>(taken.count()), usage.ru_maxrss);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
