#include "cycle/cycle.h"

#include "charge/device_modes.h"
#include "charge/soft_charge.h"
#include "passport/passport.h"
#include "platform/thermal_zone.h"
#include "product/attribute_texts.h"
#include "stats/batt_stat_store.h"
#include "stats/batt_stat_update.h"
#include "telemetry/reports.h"

namespace cellwarden {
namespace {

// Returns whether the battery's model is known, and its design capacity and state of charge are
// above 0. An unreadable attribute counts as 0.
bool battery_is_known(const SysfsParams& snapshot) {
    return static_cast<uint32_t>(param_integer(snapshot, PARAM_BATTERY_MODEL_NAME)) >=
               uint32_t{FIRST_KNOWN_MODEL} &&
           param_integer(snapshot, PARAM_BATTERY_CHARGE_FULL_DESIGN) >= 1 &&
           param_integer(snapshot, PARAM_BATT_SOC) >= 1;
}

}  // namespace

SysfsReadMask full_cycle_mask() {
    SysfsReadMask mask;
    mask.fill(1);
    return mask;
}

SysfsReadMask light_cycle_mask() {
    SysfsReadMask mask{};
    mask[PARAM_SDM_THERM] = 1;
    mask[PARAM_SDM_THERM_ZONE_TEMP] = 1;
    return mask;
}

void load_records(const Device& device, ServiceState& state, BattStat& stat,
                  ChgInsertionRemovalData& connection) {
    init_batt_stat(device, state, stat);
    init_chg_insertion_removal_data(device, state, connection);
    handle_tessera(device, state);
}

void run_full_cycle(const Device& device, ServiceState& state, BattStat& stat,
                    ChgInsertionRemovalData& connection, const SysfsParams& snapshot,
                    const Policy& policy) {
    if (state.hold.lrc_hold_active) {
        control_lrc_mode(device, state, snapshot);
    }
    if (battery_is_known(snapshot)) {
        if (!state.restore.restored_capacity_applied) {
            set_restored_capacity(device, state);
            state.restore.restored_capacity_applied = true;
        }
        control_soft_charge(device, state, snapshot, policy);
        update_batt_stat(device, state, stat, snapshot);
        update_eu_eco_system_values(device, state);
    }
    set_chg_insertion_removal_data(state, snapshot, connection);
    send_ondra_batt_degr2_if_is_timing(device, state, stat);
    send_ondra_chg_insertion_removal_if_is_timing(device, state, connection, snapshot);
    save_batt_stat_if_is_timing(device, state, snapshot, stat);
    save_usb_connector_heat_data_if_is_timing(device, state, snapshot);
}

void run_light_cycle(const Device& device, const SysfsParams& snapshot) {
    provide_external_thermal_data(device, snapshot);
}

}  // namespace cellwarden
