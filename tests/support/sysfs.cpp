#include "support/sysfs.h"

#include <sys/mount.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "support/namespaces.h"

namespace cellwarden::test {

void empty_sysfs() {
    static bool mounted = false;
    require(!mounted || umount2("/sys", MNT_DETACH) == 0, "unmounting /sys");
    require(mount("tmpfs", "/sys", "tmpfs", 0, "") == 0, "tmpfs on /sys");
    mounted = true;
}

void write_file(const std::string& path, const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

std::string read_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return file ? std::string(std::istreambuf_iterator(file), {}) : "(no file)";
}

}  // namespace cellwarden::test
