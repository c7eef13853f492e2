// The daemon's main cost: reading all parameters and freeing their texts, against a bare loop of
// one open, read and close for each of the same files, which lie on a tmpfs at their real paths.
#include <fcntl.h>
#include <unistd.h>

#include "benchmarks/figure.h"
#include "phone/stand_in.h"
#include "platform/sysfs_io.h"
#include "platform/thermal_zone.h"
#include "support/namespaces.h"
#include "support/sysfs.h"

namespace cellwarden {
namespace {

constexpr double LIMIT_OVER_BARE_LOOP = 1.25;
constexpr int ROUNDS = 101;
constexpr int CALLS = 20;

const char* content_of(uint32_t format) {
    switch (format) {
        case FORMAT_DECIMAL:
            return "4123000\n";
        case FORMAT_HEX:
            return "0x5a\n";
        default:
            return "Type-C source attached (high current)\n";
    }
}

std::vector<const char*> make_attributes(const Device& device) {
    test::write_file("/sys/class/thermal/thermal_zone0/type", "sdm_therm\n");
    test::write_file("/sys/class/thermal/thermal_zone0/temp", "31250\n");
    std::vector<const char*> paths;
    for (const SysfsParamDesc& desc : SysfsParamTable) {
        paths.push_back(desc.path_is_generated == 1 ? desc.path_generator(device) : desc.path);
        test::write_file(paths.back(), content_of(desc.format));
    }
    return paths;
}

void read_bare(const std::vector<const char*>& paths) {
    char buffer[SYSFS_BUFFER_SIZE];
    for (const char* path : paths) {
        const int fd = open(path, O_RDONLY | O_CLOEXEC);
        [[maybe_unused]] const ssize_t count = read(fd, buffer, sizeof buffer);
        close(fd);
    }
}

int run() {
    test::enter_namespaces();
    test::empty_sysfs();
    StandIn phone{.records_effects = false};
    Device device = device_of(phone);
    device.read_attribute = read_attribute_file;
    const std::vector<const char*> paths = make_attributes(device);
    SysfsReadMask everything;
    everything.fill(1);
    SysfsParams snapshot;
    const auto read_snapshot = [&] {
        read_sysfs_params(device, snapshot, everything);
        cleanup_sysfs_params(snapshot);
    };
    const std::vector<double> us =
        benchmark::median_cpu_us({read_snapshot, [&] { read_bare(paths); }}, ROUNDS, CALLS);
    return benchmark::report_figure("read and free 134 parameters, CPU; limit 1.25 x bare loop",
                                    us[0], LIMIT_OVER_BARE_LOOP * us[1], "us");
}

}  // namespace
}  // namespace cellwarden

int main() {
    return cellwarden::run();
}
