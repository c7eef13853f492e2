#include "charge/device_modes.h"

#include "platform/log.h"
#include "platform/sysfs_io.h"
#include "platform/unit_store.h"
#include "product/limits.h"

namespace cellwarden {
namespace {

constexpr uint64_t STARTUP_PROCESS_MARK = 171;
constexpr uint8_t MODE_SET = 1;

void hold_between(HoldState& hold, const HoldLimits& limits) {
    hold.lrc_hold_active = true;
    hold.lrc_upper_soc = limits.upper_percent;
    hold.lrc_lower_soc = limits.lower_percent;
}

// Reads a unit into `size` bytes. Returns it as one number with every byte that the store may have
// written; 0 if it cannot be read.
uint64_t number_in(const Device& device, Unit unit, uint32_t size) {
    uint64_t number = 0;
    return tessera_read_unit(device, unit, &number, &size) == 0 ? number : 0;
}

bool mode_is_set(const Device& device, Unit unit) {
    return static_cast<uint8_t>(number_in(device, unit, sizeof MODE_SET)) == MODE_SET;
}

}  // namespace

void handle_tessera(const Device& device, ServiceState& state) {
    if (number_in(device, UNIT_STARTUP_PROCESS, sizeof(uint32_t)) == STARTUP_PROCESS_MARK) {
        log_line(
            device,
            "<3>cellwarden: This phone is in startup process now, battery charge is limited.\n");
        hold_between(state.hold, STARTUP_PROCESS_HOLD);
    }
    if (mode_is_set(device, UNIT_CAMERA_CALIBRATION)) {
        log_line(device,
                 "<3>cellwarden: This phone is in camera calibration mode now, battery charge is "
                 "limited.\n");
        hold_between(state.hold, CAMERA_CALIBRATION_HOLD);
    }
    if (mode_is_set(device, UNIT_CHARGE_DISABLE)) {
        log_line(device, "<3>cellwarden: Charging will be disabled by tessera, %d\n",
                 int{MODE_SET});
        (void)write_sysfs_integer(device, PARAM_USB_INPUT_SUSPEND, 1);
    }
}

void set_restored_capacity(const Device& device, ServiceState& state) {
    if (state.restore.restore_capacity_mah != NOT_KNOWN) {
        (void)write_sysfs_integer(device, PARAM_RESTORED_CAPACITY,
                                  state.restore.restore_capacity_mah);
        state.restore.restore_capacity_mah = NOT_KNOWN;
    }
}

}  // namespace cellwarden
