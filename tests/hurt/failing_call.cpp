// Loaded before a program, this library makes one of the program's system calls fail, whoever makes
// it: also the C library's own, which no function of ours could stand in for.
//
//     FAILING_CALL=17          the call, counted from 1; 0: none, they are only counted
//     FAILING_ERROR=5          errno of it; 0: it is done by half (fewer bytes than asked for)
//     FAILING_REPORT=FILE      gets the name of the call that failed, or how many there were
//
// The kernel sends SIGSYS in place of each call that counts, and the handler does the call in the
// one place from which the kernel lets it pass.

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <ucontext.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" {
long raw_system_call(long number, long first, long second, long third, long fourth, long fifth,
                     long sixth);
extern const char raw_system_call_made[];
}

asm(R"(
    .text
    .hidden raw_system_call
    .globl raw_system_call
    .type raw_system_call, @function
raw_system_call:
    mov %rdi, %rax
    mov %rsi, %rdi
    mov %rdx, %rsi
    mov %rcx, %rdx
    mov %r8, %r10
    mov %r9, %r8
    mov 8(%rsp), %r9
    syscall
    .hidden raw_system_call_made
    .globl raw_system_call_made
raw_system_call_made:
    ret
)");

namespace {

struct CCall {
    long number;
    const char* name;
    bool moves;  ///< the third argument says how many bytes
};

/// What touches files, and memory. Everything else (signals, threads, clocks) passes.
constexpr std::array Calls = {
    CCall{SYS_open, "open", false},
    CCall{SYS_openat, "openat", false},
    CCall{SYS_read, "read", true},
    CCall{SYS_pread64, "pread64", true},
    CCall{SYS_write, "write", true},
    CCall{SYS_pwrite64, "pwrite64", true},
    CCall{SYS_writev, "writev", false},
    CCall{SYS_close, "close", false},
    CCall{SYS_lseek, "lseek", false},
    CCall{SYS_stat, "stat", false},
    CCall{SYS_fstat, "fstat", false},
    CCall{SYS_newfstatat, "newfstatat", false},
    CCall{SYS_statx, "statx", false},
    CCall{SYS_readlink, "readlink", false},
    CCall{SYS_getdents64, "getdents64", false},
    CCall{SYS_ftruncate, "ftruncate", false},
    CCall{SYS_fallocate, "fallocate", false},
    CCall{SYS_fsync, "fsync", false},
    CCall{SYS_fdatasync, "fdatasync", false},
    CCall{SYS_fchmod, "fchmod", false},
    CCall{SYS_chmod, "chmod", false},
    CCall{SYS_rename, "rename", false},
    CCall{SYS_renameat2, "renameat2", false},
    CCall{SYS_link, "link", false},
    CCall{SYS_linkat, "linkat", false},
    CCall{SYS_unlink, "unlink", false},
    CCall{SYS_unlinkat, "unlinkat", false},
    CCall{SYS_copy_file_range, "copy_file_range", false},
    CCall{SYS_mmap, "mmap", false},
};

std::atomic<long> madeCalls{0};
long failingCall = 0;
long failingError = 0;
const char* reportFile = nullptr;

long Number(const char* name) {
    const char* const text = std::getenv(name);
    return text == nullptr ? 0 : std::strtol(text, nullptr, 10);
}

const CCall* Find(long number) {
    for (const CCall& call : Calls) {
        if (call.number == number) {
            return &call;
        }
    }
    return nullptr;
}

long Make(long number, const std::array<long, 6>& arguments) {
    return raw_system_call(number, arguments[0], arguments[1], arguments[2], arguments[3],
                           arguments[4], arguments[5]);
}

void Report(const char* text) {
    if (reportFile == nullptr) {
        return;
    }
    const long file = Make(SYS_openat, {AT_FDCWD, reinterpret_cast<long>(reportFile),
                                        O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600, 0, 0});
    if (file >= 0) {
        Make(SYS_write, {file, reinterpret_cast<long>(text), static_cast<long>(std::strlen(text))});
        Make(SYS_close, {file});
    }
}

long MakeOrFail(const CCall& call, std::array<long, 6> arguments) {
    if (++madeCalls != failingCall) {
        return Make(call.number, arguments);
    }
    Report(call.name);
    if (failingError != 0) {
        return -failingError;
    }
    if (call.moves && arguments[2] > 1) {
        arguments[2] /= 2;
    }
    return Make(call.number, arguments);
}

void Handle(int, siginfo_t* signal, void* context) {
    auto& registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    const CCall* const call = Find(signal->si_syscall);
    registers[REG_RAX] =
        call == nullptr
            ? -ENOSYS
            : MakeOrFail(*call, {registers[REG_RDI], registers[REG_RSI], registers[REG_RDX],
                                 registers[REG_R10], registers[REG_R8], registers[REG_R9]});
}

constexpr sock_filter Statement(unsigned code, std::uint32_t value) {
    return {static_cast<unsigned short>(code), 0, 0, value};
}

constexpr sock_filter JumpUnlessEqual(std::uint32_t value, unsigned char by) {
    return {BPF_JMP | BPF_JEQ | BPF_K, 0, by, value};
}

/// Lets everything pass that comes from the one place, and sends a signal for the calls that count.
void InstallFilter() {
    const auto place = reinterpret_cast<std::uintptr_t>(raw_system_call_made);
    std::array<sock_filter, 6 + 2 * Calls.size()> filter = {};
    std::size_t count = 0;
    filter[count++] =
        Statement(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, instruction_pointer));
    filter[count++] = JumpUnlessEqual(static_cast<std::uint32_t>(place), 3);
    filter[count++] =
        Statement(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, instruction_pointer) + 4);
    filter[count++] = JumpUnlessEqual(static_cast<std::uint32_t>(place >> 32), 1);
    filter[count++] = Statement(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    filter[count++] = Statement(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr));
    static_assert(sizeof(seccomp_data::nr) == 4);
    for (const CCall& call : Calls) {
        filter[count++] = JumpUnlessEqual(static_cast<std::uint32_t>(call.number), 1);
        filter[count++] = Statement(BPF_RET | BPF_K, SECCOMP_RET_TRAP);
    }
    std::array<sock_filter, filter.size() + 1> whole = {};
    std::memcpy(whole.data(), filter.data(), sizeof filter);
    whole.back() = Statement(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    const sock_fprog program = {static_cast<unsigned short>(whole.size()), whole.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
        std::abort();
    }
}

struct CInstalled {
    CInstalled() {
        failingCall = Number("FAILING_CALL");
        failingError = Number("FAILING_ERROR");
        reportFile = std::getenv("FAILING_REPORT");
        struct sigaction action = {};
        action.sa_sigaction = Handle;
        action.sa_flags = SA_SIGINFO | SA_NODEFER;
        if (sigaction(SIGSYS, &action, nullptr) != 0) {
            std::abort();
        }
        InstallFilter();
    }

    /// Nothing failed up to here, or that was reported.
    ~CInstalled() {
        if (failingCall == 0) {
            std::array<char, 24> text = {};
            std::size_t at = text.size() - 1;
            for (long left = madeCalls; left != 0; left /= 10) {
                text[--at] = static_cast<char>('0' + left % 10);
            }
            Report(text.data() + at);
        }
    }
};

const CInstalled installed;

}  // namespace
