// The daemon's main cost: reading all parameters and freeing their texts, against a bare loop that
// opens each attribute by its path, reads it and closes it. Once on a tmpfs that is laid out as the
// phone's sysfs, once on the kernel's own attributes.
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

constexpr double LIMIT_ON_TMPFS = 0.9;
constexpr double LIMIT_ON_SYSFS = 0.65;
constexpr int ROUNDS = 101;
constexpr int CALLS = 20;

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

Paths make_attributes(const Device& device) {
    bench::AttributeTree tree;
    bench::set_attribute(tree, "/sys/class/thermal/thermal_zone0/type", "sdm_therm");
    Paths paths;
    for (const SysfsParamDesc& desc : SysfsParamTable) {
        paths.push_back(desc.path_is_generated == 1 ? desc.path_generator(device) : desc.path);
        bench::set_attribute(tree, paths.back(), content_of(desc.format));
    }
    return paths;
}

// The loopback interface has the attributes of every network device. The daemon's code reads them
// in place of its own: each attribute that it opens is the next of the list.
constexpr const char NETWORK_DEVICE[] = "/sys/class/net/lo";
Paths network_paths;
size_t next_path;

Paths find_attributes() {
    Paths found;
    char text[SYSFS_BUFFER_SIZE];
    for (const fs::directory_entry& entry : fs::directory_iterator(NETWORK_DEVICE)) {
        const int fd = open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
        if (entry.is_regular_file() && read(fd, text, sizeof text) > 0) {
            found.push_back(entry.path());
        }
        close(fd);
    }
    test::require(!found.empty(), "attributes of the loopback interface");
    for (size_t i = 0; found.size() < SYSFS_PARAM_COUNT; i++) {
        found.push_back(Paths::value_type(found[i]));
    }
    found.resize(SYSFS_PARAM_COUNT);
    return found;
}

int open_network_device(void* context, const char* /*path*/) {
    return attribute_files.open_directory(context, NETWORK_DEVICE);
}

int open_network_attribute(void* context, int directory, const char* /*path*/, size_t name_at) {
    const char* path = network_paths[next_path++ % SYSFS_PARAM_COUNT].c_str();
    return attribute_files.open(context, directory, path, name_at > 0 ? sizeof NETWORK_DEVICE : 0);
}

void read_bare(const Paths& paths) {
    char buffer[SYSFS_BUFFER_SIZE];
    for (const std::string& path : paths) {
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        [[maybe_unused]] const ssize_t count = read(fd, buffer, sizeof buffer);
        close(fd);
    }
}

int measure(const Device& device, const Paths& paths, const std::string& where, double limit) {
    SysfsReadMask everything;
    everything.fill(1);
    SysfsParams snapshot;
    const auto read_snapshot = [&] {
        read_sysfs_params(device, snapshot, everything);
        cleanup_sysfs_params(snapshot);
    };
    const std::vector<double> us =
        benchmark::median_cpu_us({read_snapshot, [&] { read_bare(paths); }}, ROUNDS, CALLS);
    return benchmark::report_figure(where, us[0], limit * us[1], "us");
}

int run() {
    StandIn phone{.records_effects = false};
    Device device = device_of(phone);
    device.attributes = attribute_files;
    test::enter_namespaces();
    test::empty_sysfs();
    const Paths paths = make_attributes(device);
    const int on_tmpfs = measure(
        device, paths, "read, free 134 parameters on tmpfs; limit 0.9 x bare", LIMIT_ON_TMPFS);

    test::enter_network_namespace();
    test::require(mount("sysfs", "/sys", "sysfs", MS_RDONLY, nullptr) == 0, "sysfs on /sys");
    network_paths = find_attributes();
    device.attributes.open_directory = open_network_device;
    device.attributes.open = open_network_attribute;
    const int on_sysfs =
        measure(device, network_paths, "the same on sysfs; limit 0.65 x bare", LIMIT_ON_SYSFS);
    return on_tmpfs + on_sysfs > 0 ? 1 : 0;
}

}  // namespace
}  // namespace cellwarden

int main() {
    return cellwarden::run();
}
