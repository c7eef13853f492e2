#include "bench/sandbox.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>

namespace cellwarden::bench {
namespace {

constexpr const char* KERNEL_LOG = "/dev/kmsg";
constexpr const char* KERNEL_LOG_FIFO = "/sys/.kmsg";

[[noreturn]] void fail(const std::string& what, int error, const std::string& advice = "") {
    throw SandboxError(what + ": " + strerror(error) + (advice.empty() ? "" : "\n" + advice));
}

void write_setting(const char* path, const std::string& text) {
    std::ofstream stream(path);
    stream << text;
    if (!stream.flush()) {
        fail(std::string("cannot write '") + text + "' to " + path, errno);
    }
}

// Returns the setting to change if unshare fails with `error`.
std::string unshare_advice(int error, bool is_root) {
    if (error == ENOSPC) {
        return "This machine limits the number of namespaces, often to 0 on purpose. Show and "
               "raise the limits with:\n"
               "  sysctl -a | grep 'user.max_.*_namespaces'\n"
               "  sudo sysctl user.max_user_namespaces=10000     (or the one that is too low)";
    }
    if (is_root) {
        return "This machine does not allow namespaces even for root, like most containers. Run "
               "the bench\noutside, or in a container with more rights (docker run --privileged).";
    }
    return "This machine does not allow namespaces for ordinary users. Run the bench as root, or\n"
           "change the setting that exists on this system:\n"
           "  sudo sysctl kernel.unprivileged_userns_clone=1\n"
           "  sudo sysctl kernel.apparmor_restrict_unprivileged_userns=0";
}

// Root needs no user namespace unless it lacks capabilities.
void enter_namespaces() {
    const uid_t uid = geteuid();
    const gid_t gid = getegid();
    constexpr int NAMESPACES = CLONE_NEWNS | CLONE_NEWNET;
    if (uid == 0 && unshare(NAMESPACES) == 0) {
        return;
    }
    if (unshare(CLONE_NEWUSER | NAMESPACES) != 0) {
        fail("cannot create the namespaces of the phone", errno, unshare_advice(errno, uid == 0));
    }
    write_setting("/proc/self/setgroups", "deny");
    write_setting("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
    write_setting("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
}

void mount_phone_files() {
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        fail("cannot make the mounts private", errno);
    }
    if (mount("phone", "/sys", "tmpfs", MS_NOSUID | MS_NODEV | MS_NOEXEC, "mode=0755") != 0) {
        fail("cannot mount the phone's /sys", errno);
    }
    if (mkfifo(KERNEL_LOG_FIFO, 0600) != 0) {
        fail(KERNEL_LOG_FIFO, errno);
    }
    if (mount(KERNEL_LOG_FIFO, KERNEL_LOG, nullptr, MS_BIND, nullptr) != 0) {
        fail(std::string("cannot replace ") + KERNEL_LOG, errno,
             std::string("The file ") + KERNEL_LOG +
                 " must exist: the phone's log is mounted over it.");
    }
}

// Report of a child process that failed to become the daemon.
struct StartFailure {
    char step[64];
    int error;
};

[[noreturn]] void give_up(int report_fd, const char* step) {
    StartFailure failure{.step = "", .error = errno};
    (void)snprintf(failure.step, sizeof failure.step, "%s", step);
    [[maybe_unused]] const ssize_t written = write(report_fd, &failure, sizeof failure);
    _exit(127);
}

// Moves this process into a time namespace in which the phone booted `uptime_s` ago. The offset
// must be set before a process enters the namespace.
bool enter_time_namespace(double uptime_s) {
    timespec boot = {};
    clock_gettime(CLOCK_BOOTTIME, &boot);
    const std::string offset =
        "boottime " + std::to_string(std::lround(uptime_s) - boot.tv_sec) + " 0";
    if (unshare(CLONE_NEWTIME) != 0) {
        return false;
    }
    const int offsets_fd = open("/proc/self/timens_offsets", O_WRONLY | O_CLOEXEC);
    const int namespace_fd = open("/proc/self/ns/time_for_children", O_RDONLY | O_CLOEXEC);
    return offsets_fd >= 0 && namespace_fd >= 0 &&
           write(offsets_fd, offset.data(), offset.size()) == static_cast<ssize_t>(offset.size()) &&
           setns(namespace_fd, CLONE_NEWTIME) == 0;
}

[[noreturn]] void become_daemon(const DaemonCommand& command, double uptime_s, int report_fd) {
    if (!enter_time_namespace(uptime_s)) {
        give_up(report_fd,
                "cannot create a time namespace (requires Linux 5.6 and CONFIG_TIME_NS)");
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    // A new session, so that Ctrl-C in the terminal reaches the bench only.
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || setsid() < 0 ||
        setenv("LD_LIBRARY_PATH", command.device_libraries.c_str(), 1) != 0 ||
        setenv("CELLWARDEN_BENCH_DIR", command.state_dir.c_str(), 1) != 0) {
        give_up(report_fd, "cannot prepare the daemon's process");
    }
    std::vector<char*> words;
    for (const std::string& word : command.words) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    execvp(words[0], words.data());
    give_up(report_fd, "cannot start the daemon's program");
}

}  // namespace

void enter_sandbox() {
    enter_namespaces();
    mount_phone_files();
}

pid_t start_daemon(const DaemonCommand& command, double uptime_s) {
    int report[2];
    if (pipe2(report, O_CLOEXEC) != 0) {
        fail("pipe", errno);
    }
    // A fork into a new PID namespace, whose other processes end with the daemon.
    const auto pid = static_cast<pid_t>(syscall(SYS_clone, CLONE_NEWPID | SIGCHLD, 0, 0, 0, 0));
    if (pid < 0) {
        fail("cannot make a process in a PID namespace", errno);
    }
    if (pid == 0) {
        close(report[0]);
        become_daemon(command, uptime_s, report[1]);
    }
    close(report[1]);
    StartFailure failure = {};
    const bool failed = read(report[0], &failure, sizeof failure) == ssize_t{sizeof failure};
    close(report[0]);
    if (failed) {
        waitpid(pid, nullptr, 0);
        fail(std::string(failure.step) + " (" + command.words[0] + ")", failure.error);
    }
    return pid;
}

}  // namespace cellwarden::bench
