#include "telemetry/usb_connector_heat.h"

#include "platform/log.h"
#include "platform/unit_store.h"
#include "state/elapsed.h"

namespace cellwarden {

void save_usb_connector_heat_data_if_is_timing(const Device& device, ServiceState& state,
                                               const SysfsParams& snapshot) {
    constexpr int32_t SHUTDOWN_PHASE = 4;
    constexpr int32_t SECONDS_PER_DAY = 86'400;

    if (param_integer(snapshot, PARAM_BOOTUP_SHUTDOWN_PHASE) != SHUTDOWN_PHASE &&
        elapsed_i32(state.cycle_boot_time, state.last_heat_save_time) < SECONDS_PER_DAY) {
        return;
    }
    if (tessera_write_unit(device, UNIT_HEAT_COUNT, &state.usb_connector_heat_count,
                           sizeof state.usb_connector_heat_count) != 0) {
        log_line(device, "<3>cellwarden: Failed to save USB connector heat count");
    }
    if (tessera_write_unit(device, UNIT_HEAT_TIME, &state.usb_connector_heat_time,
                           sizeof state.usb_connector_heat_time) != 0) {
        log_line(device, "<3>cellwarden: Failed to save USB connector heat time");
    }
    state.last_heat_save_time = state.cycle_boot_time;
}

}  // namespace cellwarden
