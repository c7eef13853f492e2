// Compares the daemon's main cost, reading all parameters and freeing their texts, with a loop that
// opens each attribute by its path, reads it and closes it. There are three tables: the phone's, on
// a tmpfs with the layout of its sysfs, where four of seven directories are classes without links;
// 134 attributes of one device behind a link of its class, on tmpfs; and the same on the kernel's
// sysfs.
#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "bench/attribute_tree.h"
#include "benchmarks/figure.h"
#include "phone/stand_in.h"
#include "platform/sysfs_io.h"
#include "support/namespaces.h"
#include "support/sysfs.h"

namespace cellwarden {
namespace {

namespace fs = std::filesystem;

constexpr double LIMIT_PHONE = 1;
constexpr double LIMIT_ON_TMPFS = 0.9;
constexpr double LIMIT_ON_SYSFS = 0.65;
// Returns the median of single calls, so that a call that another process interrupts does not
// matter.
constexpr int ROUNDS = 2001;
constexpr int CALLS = 1;

using Paths = std::vector<std::string>;  // one for each parameter, in the order of their ids

const char* content_of(uint32_t format) {
    switch (format) {
        case FORMAT_DECIMAL:
            return "4123000";
        case FORMAT_HEX:
            return "0x5a";
        default:
            return "Type-C source attached (high current)";
    }
}

void read_bare(const Paths& paths) {
    char buffer[SYSFS_BUFFER_SIZE];
    for (const std::string& path : paths) {
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        [[maybe_unused]] const ssize_t count = read(fd, buffer, sizeof buffer);
        close(fd);
    }
}

int measure(const Device& device, const SysfsParamDescs& table, const std::string& name,
            double limit) {
    SysfsReadMask everything;
    everything.fill(1);
    SysfsParams snapshot;
    Paths paths;
    for (const SysfsParamDesc& desc : table) {
        paths.emplace_back(desc.path_is_generated == 1 ? desc.path_generator(device) : desc.path);
    }
    const auto read_snapshot = [&] {
        read_sysfs_params(device, snapshot, everything, table);
        cleanup_sysfs_params(snapshot);
    };
    const std::vector<double> us =
        benchmark::median_cpu_us({read_snapshot, [&] { read_bare(paths); }}, ROUNDS, CALLS);
    return benchmark::report_figure(name, us[0], limit * us[1], "us");
}

int measure_phone(const Device& device) {
    bench::AttributeTree tree;
    bench::set_attribute(tree, "/sys/class/thermal/thermal_zone0/type", "sdm_therm");
    for (const SysfsParamDesc& desc : SysfsParamTable) {
        bench::set_attribute(tree,
                             desc.path_is_generated == 1 ? desc.path_generator(device) : desc.path,
                             content_of(desc.format));
    }
    return measure(device, SysfsParamTable, "read, free 134 parameters, CPU; limit the bare loop",
                   LIMIT_PHONE);
}

// The table of parameters with other paths.
SysfsParamDescs table_of(const Paths& paths) {
    SysfsParamDescs table = SysfsParamTable;
    for (uint32_t id = 0; id < SYSFS_PARAM_COUNT; id++) {
        table[id].path_is_generated = 0;
        table[id].path = paths[id].c_str();
        table[id].name_at = paths[id].rfind('/') + 1;
    }
    return table;
}

int measure_device_on_tmpfs(const Device& device) {
    bench::AttributeTree tree;
    Paths paths;
    for (const SysfsParamDesc& desc : SysfsParamTable) {
        paths.push_back("/sys/class/power_supply/all/attribute" + std::to_string(paths.size()));
        bench::set_attribute(tree, paths.back(), content_of(desc.format));
    }
    return measure(device, table_of(paths), "the same, all of one device; limit 0.9 x bare loop",
                   LIMIT_ON_TMPFS);
}

// Uses the attributes of the loopback interface, which every machine has, repeated up to 134.
int measure_device_on_sysfs(const Device& device) {
    Paths paths;
    char text[SYSFS_BUFFER_SIZE];
    for (const fs::directory_entry& entry : fs::directory_iterator("/sys/class/net/lo")) {
        const int fd = open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
        if (entry.is_regular_file() && read(fd, text, sizeof text) > 0) {
            paths.push_back(entry.path());
        }
        close(fd);
    }
    test::require(!paths.empty(), "attributes of the loopback interface");
    for (size_t i = 0; paths.size() < SYSFS_PARAM_COUNT; i++) {
        paths.push_back(std::string(paths[i]));
    }
    return measure(device, table_of(paths), "the same on the kernel's sysfs; limit 0.65 x bare",
                   LIMIT_ON_SYSFS);
}

int run() {
    StandIn phone{.records_effects = false};
    Device device = device_of(phone);
    device.attributes = attribute_files;
    test::enter_namespaces();
    test::empty_sysfs();
    int over = measure_phone(device);
    over += measure_device_on_tmpfs(device);
    test::enter_network_namespace();
    test::require(mount("sysfs", "/sys", "sysfs", MS_RDONLY, nullptr) == 0, "sysfs on /sys");
    over += measure_device_on_sysfs(device);
    return over > 0 ? 1 : 0;
}

}  // namespace
}  // namespace cellwarden

int main() {
    return cellwarden::run();
}
