#include "tests/support/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#if defined(__linux__)
#include <linux/capability.h>
#include <sys/prctl.h>
#endif

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <stdexcept>

// Only a sanitizer has it.
extern "C" [[gnu::weak]] void __lsan_do_leak_check();

namespace NTest {

namespace {

using CClock = std::chrono::steady_clock;

class CPipe {
public:
    CPipe() {
        // Closed in every program, so that none keeps the pipe of one that another thread starts.
        if (pipe2(m_ends, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
    }
    ~CPipe() {
        Close(0);
        Close(1);
    }
    CPipe(const CPipe&) = delete;
    CPipe& operator=(const CPipe&) = delete;

    int Reader() const { return m_ends[0]; }
    int Writer() const { return m_ends[1]; }
    void CloseReader() { Close(0); }
    void CloseWriter() { Close(1); }

private:
    void Close(int end) {
        if (m_ends[end] >= 0) {
            close(m_ends[end]);
            m_ends[end] = -1;
        }
    }

    int m_ends[2];
};

std::vector<char*> Arguments(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    return arguments;
}

bool LimitFiles(std::uint64_t largest) {
    const rlimit limit = {largest, largest};
    return largest == 0 || setrlimit(RLIMIT_FSIZE, &limit) == 0;
}

/// What is dropped here is missing in the program that this process becomes.
bool LosePrivileges(bool wanted) {
#if defined(__linux__)
    if (wanted && geteuid() == 0) {
        return prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE) == 0 &&
               prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH) == 0;
    }
#else
    (void)wanted;
#endif
    return true;
}

/// Makes the child's surroundings what the options want; false when that cannot be done.
bool Settle(const CChildOptions& options, CPipe& output, CPipe& errors) {
    signal(SIGPIPE, SIG_DFL);
    const bool toFile = !options.outputFile.empty();
    const int target =
        toFile ? open(options.outputFile.c_str(), O_WRONLY | O_CREAT, 0666) : output.Writer();
    const bool ready = target >= 0 && dup2(target, STDOUT_FILENO) >= 0 &&
                       dup2(errors.Writer(), STDERR_FILENO) >= 0 &&
                       (options.folder.empty() || chdir(options.folder.c_str()) == 0) &&
                       LimitFiles(options.largestFile) && LosePrivileges(options.obeysPermissions);
    output.CloseReader();
    output.CloseWriter();
    errors.CloseReader();
    errors.CloseWriter();
    return ready;
}

/// Appends what is there to read; false at the end.
bool Take(int reader, std::string& text) {
    std::array<char, 65536> buffer;
    const ssize_t count = read(reader, buffer.data(), buffer.size());
    if (count > 0) {
        text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return count > 0 || (count < 0 && errno == EINTR);
}

/// Reads both pipes until both ends are closed; false when the time is over before.
bool Collect(int output, int errors, CClock::time_point end, CChildResult& result) {
    std::array<pollfd, 2> sources = {pollfd{output, POLLIN, 0}, pollfd{errors, POLLIN, 0}};
    while (sources[0].fd >= 0 || sources[1].fd >= 0) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - CClock::now()).count();
        if (left <= 0) {
            return false;
        }
        if (poll(sources.data(), sources.size(), static_cast<int>(left)) < 0) {
            continue;
        }
        if (sources[0].revents != 0 && !Take(output, result.output)) {
            sources[0].fd = -1;
        }
        if (sources[1].revents != 0 && !Take(errors, result.errors)) {
            sources[1].fd = -1;
        }
    }
    return true;
}

/// Ends a copy of this process without taking down what it has of the original. A sanitizer looks
/// for what was not freed first, as it does at the end of a program.
[[noreturn]] void End(int status) {
    (void)std::fflush(nullptr);
    if (__lsan_do_leak_check != nullptr) {
        __lsan_do_leak_check();
    }
    _exit(status);
}

/// `become` is what the child does; it does not return.
CChildResult RunInChild(const std::function<void()>& become, const CChildOptions& options) {
    CPipe output;
    CPipe errors;
    if (options.closeOutput) {
        output.CloseReader();
    }
    const pid_t child = fork();
    if (child < 0) {
        throw std::runtime_error("no child process");
    }
    if (child == 0) {
        if (Settle(options, output, errors)) {
            become();
        }
        _exit(127);
    }
    output.CloseWriter();
    errors.CloseWriter();

    CChildResult result;
    const CClock::time_point end = CClock::now() + options.timeout;
    result.timedOut =
        !Collect(options.closeOutput ? -1 : output.Reader(), errors.Reader(), end, result);
    if (result.timedOut) {
        kill(child, SIGKILL);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

}  // namespace

CChildResult RunChild(const std::vector<std::string>& command, const CChildOptions& options) {
    const std::vector<char*> arguments = Arguments(command);
    return RunInChild([&arguments] { execvp(arguments[0], arguments.data()); }, options);
}

CChildResult RunForked(const std::function<int()>& work, const CChildOptions& options) {
    // What is still to be written would be written by both.
    (void)std::fflush(nullptr);
    return RunInChild([&work] { End(work()); }, options);
}

}  // namespace NTest
