#include "support/namespaces.h"

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

namespace cellwarden::test {

void require(bool done, const char* what) {
    if (done) {
        return;
    }
    (void)fprintf(stderr,
                  "The tests need namespaces of their own, and this machine refuses one:\n"
                  "  %s: %s\n"
                  "Run them as root, or allow user namespaces (sysctl user.max_user_namespaces,\n"
                  "kernel.unprivileged_userns_clone, kernel.apparmor_restrict_unprivileged_userns).\n",
                  what, strerror(errno));
    exit(1);
}

namespace {

void write_proc(const char* path, const std::string& text) {
    std::ofstream file(path);
    require(static_cast<bool>(file << text << std::flush), path);
}

// Maps the current user to root in the new namespace.
void enter_user_namespace() {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    require(unshare(CLONE_NEWUSER) == 0, "user namespace");
    write_proc("/proc/self/setgroups", "deny");
    write_proc("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    write_proc("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

}  // namespace

void enter_namespaces() {
    if (geteuid() != 0) {
        enter_user_namespace();
    }
    require(unshare(CLONE_NEWNS) == 0, "mount namespace");
    require(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
}

void enter_network_namespace() {
    require(unshare(CLONE_NEWNET) == 0, "network namespace");
}

}  // namespace cellwarden::test
