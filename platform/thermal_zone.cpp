#include "platform/thermal_zone.h"

#include <fcntl.h>

#include <cstdio>
#include <cstring>

#include "platform/device.h"
#include "platform/sysfs_io.h"
#include "product/phone.h"

namespace cellwarden {
namespace {

constexpr int ZONE_COUNT = 100;
constexpr int32_t MILLIDEGREES_PER_DECIDEGREE = 100;

// Returns whether the first line of the file is exactly the sensor's type.
bool zone_type_matches(const Device& device, const char* path) {
    const AttributeAccess& attributes = device.attributes;
    const int fd = attributes.open(device.context, AT_FDCWD, path, 0);
    if (fd < 0) {
        return false;
    }
    // The buffer has room for a character after type and newline, which shows a longer name.
    char line[THERMAL_ZONE_TYPE.size() + 2] = {};
    const ssize_t count = attributes.read(device.context, fd, line, sizeof line - 1);
    attributes.close(device.context, fd, fd);
    line[strcspn(line, "\n")] = '\0';
    return count > 0 && THERMAL_ZONE_TYPE == line;
}

}  // namespace

const char* sdm_therm_path_gen(const Device& device) {
    char* const temp_path = device.thermal_zone_temp_path;
    for (int zone = 0; temp_path[0] == '\0' && zone < ZONE_COUNT; zone++) {
        char type_path[THERMAL_ZONE_PATH_SIZE];
        (void)snprintf(type_path, sizeof type_path, "/sys/class/thermal/thermal_zone%d/type", zone);
        if (zone_type_matches(device, type_path)) {
            (void)snprintf(temp_path, THERMAL_ZONE_PATH_SIZE,
                           "/sys/class/thermal/thermal_zone%d/temp", zone);
        }
    }
    return temp_path;
}

void provide_external_thermal_data(const Device& device, const SysfsParams& snapshot) {
    if (snapshot[PARAM_SDM_THERM_ZONE_TEMP].kind != KIND_INTEGER ||
        snapshot[PARAM_SDM_THERM].kind != KIND_INTEGER) {
        return;
    }
    const int32_t decidegrees =
        param_integer(snapshot, PARAM_SDM_THERM_ZONE_TEMP) / MILLIDEGREES_PER_DECIDEGREE;
    if (decidegrees != param_integer(snapshot, PARAM_SDM_THERM)) {
        (void)write_sysfs_integer(device, PARAM_SDM_THERM, decidegrees);
    }
}

}  // namespace cellwarden
