#include "platform/device.h"

#include <unistd.h>

#include <cstdlib>

#include "platform/device/cutils.h"
#include "platform/device/ondra.h"
#include "platform/device/quillon.h"
#include "platform/device/tessera.h"

namespace cellwarden {
namespace {

char thermal_zone_temp_path[THERMAL_ZONE_PATH_SIZE];

// Calls `function` without the seam's context.
template <auto function, typename... Arguments>
auto without_context(void* /*context*/, Arguments... arguments) {
    return function(arguments...);
}

void write_log(void* /*context*/, int level, const char* text) {
    klog_write(level, "%s", text);
}

int wait_readable(void* /*context*/, int count, fd_set* readable, timeval* timeout) {
    return select(count, readable, nullptr, nullptr, timeout);
}

}  // namespace

const Device phone_device = {
    .context = nullptr,
    .attributes = attribute_files,
    .klog_write = write_log,
    .property_get = without_context<property_get>,
    .tessera_read_unit = without_context<tessera_read_unit>,
    .tessera_write_unit = without_context<tessera_write_unit>,
    .ondra_create = without_context<ondra_create>,
    .ondra_is_active = without_context<ondra_is_active>,
    .ondra_add_event = without_context<ondra_add_event>,
    .ondra_destroy = without_context<ondra_destroy>,
    .quillon_get_imei = without_context<quillon_get_imei>,
    .malloc = without_context<malloc>,
    .sleep = without_context<sleep>,
    .select = wait_readable,
    .thermal_zone_temp_path = thermal_zone_temp_path,
};

}  // namespace cellwarden
