#include "realtime/RealtimeGuard.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <array>
#include <cstddef>
#include <cstdlib>

extern "C" void __rtsan_realtime_enter();
extern "C" void __rtsan_realtime_exit();

namespace tovix::test {

RealtimeGuard::RealtimeGuard() {
    __rtsan_realtime_enter();
}

RealtimeGuard::~RealtimeGuard() {
    __rtsan_realtime_exit();
}

void forbidSystemCalls() {
    std::array<sock_filter, 5> rules{{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit_group, 2, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_write, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    const sock_fprog program{rules.size(), rules.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
        std::abort();
    }
}

} // namespace tovix::test
