// Runs a program for which the system refuses some calls: refuse_system_call ERROR CALLS PROGRAM...
// ERROR is a number, CALLS are names divided by commas; O_TMPFILE stands for the opening of files
// without a name.

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

const std::map<std::string, unsigned> numbers = {
    {"copy_file_range", SYS_copy_file_range},
    {"fallocate", SYS_fallocate},
    {"fsync", SYS_fsync},
    {"pwrite64", SYS_pwrite64},
};

sock_filter Statement(unsigned code, unsigned value) {
    return {static_cast<unsigned short>(code), 0, 0, value};
}

sock_filter Load(std::size_t position) {
    return Statement(BPF_LD | BPF_W | BPF_ABS, static_cast<unsigned>(position));
}

/// Looks at the flags, of which the low half is enough, and loads the call's number again.
std::vector<sock_filter> FilterOfNameless(unsigned error) {
    constexpr unsigned nameless = O_TMPFILE & ~unsigned{O_DIRECTORY};
    return {{BPF_JMP | BPF_JEQ | BPF_K, 0, 4, SYS_openat},
            Load(offsetof(seccomp_data, args[2])),
            {BPF_JMP | BPF_JSET | BPF_K, 0, 1, nameless},
            Statement(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
            Load(offsetof(seccomp_data, nr))};
}

/// Loads the call's number, compares it with each of the refused ones, and lets the rest through.
std::vector<sock_filter> Filter(const std::string& calls, unsigned error) {
    std::vector<sock_filter> filter = {Load(offsetof(seccomp_data, nr))};
    std::istringstream names(calls);
    for (std::string name; std::getline(names, name, ',');) {
        if (name == "O_TMPFILE") {
            const std::vector<sock_filter> more = FilterOfNameless(error);
            filter.insert(filter.end(), more.begin(), more.end());
            continue;
        }
        filter.push_back({BPF_JMP | BPF_JEQ | BPF_K, 0, 1, numbers.at(name)});
        filter.push_back(Statement(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error));
    }
    filter.push_back(Statement(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    return filter;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        return 126;
    }
    std::vector<sock_filter> filter = Filter(argv[2], static_cast<unsigned>(std::stoul(argv[1])));
    const sock_fprog program = {static_cast<unsigned short>(filter.size()), filter.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
        std::perror("refuse_system_call");
        return 126;
    }
    execv(argv[3], argv + 3);
    std::perror(argv[3]);
    return 127;
}
