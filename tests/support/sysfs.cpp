#include "support/sysfs.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/sysfs_io.h"

namespace cellwarden::test {
namespace {

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

void mount_sysfs() {
    require(mount("tmpfs", "/sys", "tmpfs", 0, "") == 0, "tmpfs on /sys");
}

}  // namespace

void enter_namespaces() {
    if (geteuid() != 0) {
        enter_user_namespace();
    }
    require(unshare(CLONE_NEWNS) == 0, "mount namespace");
    require(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
    mount_sysfs();
}

void empty_sysfs() {
    require(umount2("/sys", MNT_DETACH) == 0, "unmounting /sys");
    mount_sysfs();
}

void write_attribute(const std::string& path, const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

void write_attribute(SysfsParamId id, const std::string& text) {
    write_attribute(SysfsParamTable[id].path, text);
}

std::string read_attribute(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return file ? std::string(std::istreambuf_iterator(file), {}) : "(no file)";
}

std::string read_attribute(SysfsParamId id) {
    return read_attribute(SysfsParamTable[id].path);
}

void set_param(SysfsParams& snapshot, const Given& given) {
    SysfsParamValue& slot = snapshot[given.id];
    if (const char* const* text = std::get_if<const char*>(&given.value)) {
        slot.text = *text;
        parse_sysfs_value(SysfsParamTable[given.id], slot);
    } else {
        slot.kind = KIND_INTEGER;
        slot.value.integer = std::get<int32_t>(given.value);
    }
}

SysfsParams snapshot_of(const std::vector<Given>& given) {
    SysfsParams snapshot;
    for (uint32_t id = 0; id < SYSFS_PARAM_COUNT; id++) {
        set_param(snapshot, {static_cast<SysfsParamId>(id), ""});
    }
    for (const Given& one : given) {
        set_param(snapshot, one);
    }
    return snapshot;
}

}  // namespace cellwarden::test
