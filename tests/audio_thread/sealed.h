// A piece of work in a child process that may not call the system.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include <csignal>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

/// Memory that a child shares with its parent; where the parent finds what the child counted.
template <class T>
T *shared_with_children()
{
    void *memory =
        mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return memory == MAP_FAILED ? nullptr : new (memory) T{};
}

namespace seal {

inline const char *const unavailable = "the kernel does not seal processes";

enum : int { well = 0, broken = 101, impossible = 102 };

inline volatile int *const trapped = shared_with_children<int>();

/// Does not return, but must not say so: before such calls sanitizers ask the system for the stack.
inline void end(int code) { syscall(SYS_exit_group, code); }

/// From now on every system call is trapped, save the one that ends the process.
inline bool close()
{
    struct sigaction action = {};
    action.sa_flags = SA_SIGINFO;
    action.sa_sigaction = [](int, siginfo_t *info, void *) {
        *trapped = info->si_syscall;
        end(broken);
    };
    sigaction(SIGSYS, &action, nullptr);
    sock_filter rules[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit_group, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP),
    };
    const sock_fprog program = {sizeof rules / sizeof *rules, rules};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && // as a plain user must
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

/// Runs `work` in a sealed child; it returns 0 where all is well, else at most 100. Empty: it was
/// well and called nothing.
inline std::string run(const std::function<int()> &work)
{
    const pid_t child = fork();
    if (child == 0) end(close() ? work() : int(impossible));
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) return "no child";
    if (WIFSIGNALED(status)) return "killed by signal " + std::to_string(WTERMSIG(status));
    switch (const int code = WEXITSTATUS(status)) {
    case well:
        return "";
    case broken:
        return "system call " + std::to_string(*trapped);
    case impossible:
        return unavailable;
    default:
        return "code " + std::to_string(code);
    }
}

} // namespace seal
