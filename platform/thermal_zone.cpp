#include "platform/thermal_zone.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "platform/sysfs_io.h"
#include "product/phone.h"

namespace cellwarden {
namespace {

constexpr int ZONE_COUNT = 100;
constexpr int32_t MILLIDEGREES_PER_DECIDEGREE = 100;

char thermal_zone_temp_path[128];

// Whether the first line of the file is exactly the sensor's type.
bool zone_type_matches(const char* path) {
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    // One character more than the type and a newline tells a longer name.
    char line[THERMAL_ZONE_TYPE.size() + 2] = {};
    const ssize_t count = read(fd, line, sizeof line - 1);
    close(fd);
    line[strcspn(line, "\n")] = '\0';
    return count > 0 && THERMAL_ZONE_TYPE == line;
}

}  // namespace

const char* sdm_therm_path_gen() {
    for (int zone = 0; thermal_zone_temp_path[0] == '\0' && zone < ZONE_COUNT; zone++) {
        char type_path[128];
        (void)snprintf(type_path, sizeof type_path, "/sys/class/thermal/thermal_zone%d/type", zone);
        if (zone_type_matches(type_path)) {
            (void)snprintf(thermal_zone_temp_path, sizeof thermal_zone_temp_path,
                           "/sys/class/thermal/thermal_zone%d/temp", zone);
        }
    }
    return thermal_zone_temp_path;
}

void provide_external_thermal_data(const SysfsParams& snapshot) {
    if (snapshot[PARAM_SDM_THERM_ZONE_TEMP].kind != KIND_INTEGER ||
        snapshot[PARAM_SDM_THERM].kind != KIND_INTEGER) {
        return;
    }
    const int32_t decidegrees =
        param_integer(snapshot, PARAM_SDM_THERM_ZONE_TEMP) / MILLIDEGREES_PER_DECIDEGREE;
    if (decidegrees != param_integer(snapshot, PARAM_SDM_THERM)) {
        (void)write_sysfs_integer(PARAM_SDM_THERM, decidegrees);
    }
}

}  // namespace cellwarden
