#include "bench/sandbox.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <csignal>
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

std::string unshare_advice(bool is_root) {
    if (is_root) {
        return "This machine lets not even root make namespaces, as inside most containers. Run "
               "the bench\noutside, or in a container with CAP_SYS_ADMIN and without a seccomp "
               "filter on unshare\n(docker run --privileged).";
    }
    return "This machine does not let ordinary users make namespaces. One of these allows it:\n"
           "  sudo sysctl kernel.unprivileged_userns_clone=1      (Debian, where it exists)\n"
           "  sudo sysctl user.max_user_namespaces=10000          (where it is 0)\n"
           "  sudo sysctl kernel.apparmor_restrict_unprivileged_userns=0   (where it exists)\n"
           "or run the bench as root.";
}

void enter_namespaces() {
    const uid_t uid = geteuid();
    const gid_t gid = getegid();
    const bool is_root = uid == 0;
    const int user = is_root ? 0 : CLONE_NEWUSER;
    if (unshare(user | CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWPID) != 0) {
        fail("cannot make the phone's namespaces", errno, unshare_advice(is_root));
    }
    if (!is_root) {
        write_setting("/proc/self/setgroups", "deny");
        write_setting("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
        write_setting("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
    }
    if (unshare(CLONE_NEWTIME) != 0) {
        fail("cannot make a time namespace", errno,
             "The kernel must be 5.6 or later and built with CONFIG_TIME_NS.");
    }
}

// Processes started from now on see `uptime_s` as the time since boot.
void set_uptime(double uptime_s) {
    timespec boot = {};
    clock_gettime(CLOCK_BOOTTIME, &boot);
    const long offset_s = std::lround(uptime_s) - boot.tv_sec;
    write_setting("/proc/self/timens_offsets", "boottime " + std::to_string(offset_s) + " 0\n");
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
        fail(
            std::string("cannot replace ") + KERNEL_LOG, errno,
            std::string("The file ") + KERNEL_LOG + " must exist: the phone's log is put over it.");
    }
}

// Tells the bench which errno ended the child before the daemon ran.
[[noreturn]] void give_up(int report_fd) {
    const int error = errno;
    [[maybe_unused]] const ssize_t written = write(report_fd, &error, sizeof error);
    _exit(127);
}

[[noreturn]] void become_daemon(const DaemonCommand& command, int report_fd) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    // A session of its own: the terminal's Ctrl-C is for the bench.
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || setsid() < 0 ||
        setenv("LD_LIBRARY_PATH", command.device_libraries.c_str(), 1) != 0 ||
        setenv("CELLWARDEN_BENCH_DIR", command.state_dir.c_str(), 1) != 0) {
        give_up(report_fd);
    }
    std::vector<char*> words;
    for (const std::string& word : command.words) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    execvp(words[0], words.data());
    give_up(report_fd);
}

}  // namespace

void enter_sandbox(double uptime_s) {
    enter_namespaces();
    set_uptime(uptime_s);
    mount_phone_files();
}

pid_t start_daemon(const DaemonCommand& command) {
    int report[2];
    if (pipe2(report, O_CLOEXEC) != 0) {
        fail("pipe", errno);
    }
    const pid_t pid = fork();
    if (pid < 0) {
        fail("fork", errno);
    }
    if (pid == 0) {
        close(report[0]);
        become_daemon(command, report[1]);
    }
    close(report[1]);
    int error = 0;
    const bool failed = read(report[0], &error, sizeof error) == sizeof error;
    close(report[0]);
    if (failed) {
        waitpid(pid, nullptr, 0);
        fail("cannot start " + command.words[0], error);
    }
    return pid;
}

}  // namespace cellwarden::bench
