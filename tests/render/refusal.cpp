// System calls that fail, as on a full disk or a file system that lacks something.
#include "refusal.h"

#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>

/// The kernel's filter knows the two halves of an argument; bits of interest lie in the lower one.
static unsigned place_of(unsigned argument)
{
    return static_cast<unsigned>(offsetof(seccomp_data, args) + sizeof(__u64) * argument);
}

bool refuse(const std::vector<refusal> &calls)
{
    std::vector<sock_filter> steps;
    for (const refusal &r : calls) {
        const auto call = static_cast<unsigned>(r.call), error = static_cast<unsigned>(r.error);
        const sock_filter own[] = {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 4),
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, place_of(r.argument)),
            BPF_STMT(BPF_ALU | BPF_AND | BPF_K, r.bits),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, r.bits, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
        };
        steps.insert(steps.end(), std::begin(own), std::end(own));
    }
    steps.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program{static_cast<unsigned short>(steps.size()), steps.data()};
    return !prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) &&
           !prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program);
}
