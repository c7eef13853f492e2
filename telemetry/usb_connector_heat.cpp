#include "platform/log.h"
#include "platform/unit_store.h"
#include "state/elapsed.h"
#include "telemetry/charger_connection.h"

namespace cellwarden {
namespace {

template <typename T>
T read_unit_or_zero(const Device& device, Unit unit) {
    T value{};
    uint32_t size = sizeof value;
    const bool read = tessera_read_unit(device, unit, &value, &size) == 0 && size == sizeof value;
    return read ? value : T{};
}

}  // namespace

void load_usb_connector_heat(const Device& device, HeatState& heat) {
    heat.usb_connector_heat_count = read_unit_or_zero<uint8_t>(device, UNIT_HEAT_COUNT);
    heat.usb_connector_heat_time = read_unit_or_zero<int64_t>(device, UNIT_HEAT_TIME);
}

void count_heat_episodes(HeatState& heat, uint8_t& is_hot, int64_t wall_time,
                         const SysfsParams& snapshot) {
    const bool hot = param_integer(snapshot, PARAM_SYSTEM_TEMP_LEVEL) ==
                     param_integer(snapshot, PARAM_SYSTEM_TEMP_LEVEL_MAX);
    if (hot && is_hot == 0) {
        heat.usb_connector_heat_time = wall_time;
        if (heat.usb_connector_heat_count < UINT8_MAX) {
            heat.usb_connector_heat_count++;
        }
    }
    is_hot = hot ? 1 : 0;
}

void save_usb_connector_heat_data_if_is_timing(const Device& device, ServiceState& state,
                                               const SysfsParams& snapshot) {
    HeatState& heat = state.heat;
    if (!save_is_due(param_integer(snapshot, PARAM_BOOTUP_SHUTDOWN_PHASE),
                     elapsed_s(state.clock.cycle_boot_time, heat.last_heat_save_time))) {
        return;
    }
    if (!write_unit(device, UNIT_HEAT_COUNT, heat.usb_connector_heat_count)) {
        log_line(device, "<3>cellwarden: Failed to save USB connector heat count");
    }
    if (!write_unit(device, UNIT_HEAT_TIME, heat.usb_connector_heat_time)) {
        log_line(device, "<3>cellwarden: Failed to save USB connector heat time");
    }
    heat.last_heat_save_time = state.clock.cycle_boot_time;
}

}  // namespace cellwarden
