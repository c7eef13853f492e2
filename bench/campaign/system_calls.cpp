// Counts the system calls of one full cycle with ptrace.
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdio>
#include <map>

#include "bench/system_error.h"

#include "bench/campaign/campaign.h"

namespace cellwarden::bench {
namespace {

// Runs the daemon to its next system call and returns the number of the call.
uint64_t next_call(pid_t pid) {
    __ptrace_syscall_info info{};
    do {
        int status = 0;
        if (ptrace(PTRACE_SYSCALL, pid, nullptr, nullptr) != 0 || waitpid(pid, &status, 0) != pid ||
            ptrace(PTRACE_GET_SYSCALL_INFO, pid, sizeof info, &info) < 0) {
            throw_system_error("cannot trace the daemon", errno);
        }
    } while (info.op != PTRACE_SYSCALL_INFO_ENTRY);
    return info.entry.nr;
}

}  // namespace

void print_system_calls(Stage& stage) {
    const pid_t pid = stage.daemon_pid;
    if (ptrace(PTRACE_SEIZE, pid, nullptr, PTRACE_O_TRACESYSGOOD) != 0 ||
        ptrace(PTRACE_INTERRUPT, pid, nullptr, nullptr) != 0 || waitpid(pid, nullptr, 0) != pid) {
        throw_system_error("cannot trace the daemon", errno);
    }
    send_battery_uevent(stage);
    // The interrupted wait is restarted first. The cycle ends at the start of the next wait.
    int total = 0;
    std::map<uint64_t, int> calls;
    for (uint64_t call = next_call(pid); call != SYS_pselect6 || calls[SYS_recvfrom] == 0;
         call = next_call(pid)) {
        calls[call]++;
        total++;
    }
    ptrace(PTRACE_DETACH, pid, nullptr, nullptr);
    finish_cycle(stage);
    const int opened = calls[SYS_openat];
    const int closed = calls[SYS_close] + calls[SYS_close_range];
    printf("system calls of a full cycle %d: open %d, read %d, close %d, other %d\n", total, opened,
           calls[SYS_read], closed, total - opened - calls[SYS_read] - closed);
}

}  // namespace cellwarden::bench
