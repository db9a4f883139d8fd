#include "tests/hostile/measured_child.h"

#include <array>
#include <exception>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace NTest {
namespace {

constexpr unsigned deadlineInSeconds = 60;

void WriteAll(int file, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = write(file, text.data() + done, text.size() - done);
        if (written <= 0) {
            _exit(2);
        }
        done += static_cast<std::size_t>(written);
    }
}

std::string ReadAll(int file) {
    std::string text;
    std::array<char, 4096> part;
    for (ssize_t got = read(file, part.data(), part.size()); got > 0;
         got = read(file, part.data(), part.size())) {
        text.append(part.data(), static_cast<std::size_t>(got));
    }
    return text;
}

[[noreturn]] void RunAsChild(int file, const std::function<std::string()>& work) {
    alarm(deadlineInSeconds);
    try {
        WriteAll(file, work());
    } catch (const std::exception&) {
        _exit(1);
    }
    _exit(0);
}

std::chrono::microseconds Duration(const timeval& time) {
    return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
}

}  // namespace

CMeasuredRun RunMeasured(const std::function<std::string()>& work) {
    CMeasuredRun run;
    std::array<int, 2> ends;
    if (pipe(ends.data()) != 0) {
        return run;
    }
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        RunAsChild(ends[1], work);
    }
    close(ends[1]);
    run.result = ReadAll(ends[0]);
    close(ends[0]);
    int status = 0;
    rusage usage{};
    if (child > 0 && wait4(child, &status, 0, &usage) == child) {
        run.endedWell = WIFEXITED(status) && WEXITSTATUS(status) == 0;
        run.processorTime = Duration(usage.ru_utime) + Duration(usage.ru_stime);
        run.peakMemory = static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
    }
    return run;
}

}  // namespace NTest
