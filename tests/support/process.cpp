#include "support/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

size_t calls;
bool heap_is_empty;

}  // namespace

#ifndef __SANITIZE_ADDRESS__
extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

void* malloc(size_t size) {
    calls++;
    return heap_is_empty ? nullptr : __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
    calls++;
    return __libc_calloc(count, size);
}

void* realloc(void* block, size_t size) {
    calls++;
    return __libc_realloc(block, size);
}
}
#endif

namespace cellwarden::test {

void require(bool done, const char* what) {
    if (done) {
        return;
    }
    (void)fprintf(
        stderr,
        "The tests need namespaces of their own, and this machine refuses one:\n"
        "  %s: %s\n"
        "Run them as root, or allow user namespaces (sysctl user.max_user_namespaces,\n"
        "kernel.unprivileged_userns_clone, kernel.apparmor_restrict_unprivileged_userns).\n",
        what, strerror(errno));
    exit(1);
}

namespace {

void write_proc(const char* path, const std::string& text) {
    const int fd = open(path, O_WRONLY | O_CLOEXEC);
    require(fd >= 0 && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()),
            path);
    close(fd);
}

// Root inside for the user outside.
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

size_t heap_calls() {
    return calls;
}

void set_heap_empty(bool empty) {
    heap_is_empty = empty;
}

void in_own_process(const std::function<void()>& body) {
    (void)fflush(nullptr);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        body();
        (void)fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "in the process of its own";
}

}  // namespace cellwarden::test
