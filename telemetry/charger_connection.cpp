#include "telemetry/charger_connection.h"

#include <algorithm>
#include <cstdio>

#include "state/elapsed.h"
#include "state/wrapping.h"

namespace cellwarden {
namespace {

constexpr uint32_t AICL_BIT = 4;

// Data of one cycle: memory and record, which it updates, the kernel's readings, and the seconds to
// book.
struct Cycle {
    ConnectionMemory& memory;
    ChgInsertionRemovalData& connection;
    const SysfsParams& snapshot;
    int32_t elapsed;
    uint32_t capacity = static_cast<uint32_t>(param_integer(snapshot, PARAM_BATTERY_CAPACITY));
    uint32_t soft_charge_stage =
        static_cast<uint32_t>(param_integer(snapshot, PARAM_BATT_AGING_LEVEL));
    int32_t battery_uv = param_integer(snapshot, PARAM_BATTERY_VOLTAGE_NOW);
    int32_t usbin_uv = param_integer(snapshot, PARAM_USB_VOLTAGE_NOW);
};

ConnectionState next_state(int32_t& previous_online, int32_t online) {
    const ConnectionState state = connection_state_of(previous_online, online);
    previous_online = online;
    return state;
}

void raise(int32_t& maximum, int32_t value) {
    maximum = std::max(maximum, value);
}

void copy_charger_type(ChgInsertionRemovalData& connection, const char* text) {
    (void)snprintf(connection.charger_type, sizeof connection.charger_type, "%.15s", text);
}

// Starts a connection on either side. Values that are not set here continue from the previous
// report.
void start_connection(const Cycle& cycle) {
    cycle.memory.usb_long_insertion_counter = 0;
    cycle.memory.long_insertion_threshold = 0;
    cycle.connection.inserted_soc = cycle.capacity;
    cycle.connection.inserted_sc_stage = cycle.soft_charge_stage;
    cycle.connection.moment_max_vbatt = cycle.battery_uv;
}

// Ends a connection on either side. The type is empty if the connection ended before any cycle saw
// it connected, or if the type could not be read.
void end_connection(const Cycle& cycle) {
    if (cycle.connection.charger_type[0] == '\0') {
        copy_charger_type(cycle.connection, "BAD CONNECTION");
    }
    cycle.connection.removal_soc = cycle.capacity;
    cycle.connection.removal_sc_stage = cycle.soft_charge_stage;
}

// Books one cycle of a connection, also its last one.
void follow_connection(const Cycle& cycle) {
    const int32_t level = cycle.memory.prev_thermal_level;
    auto& level_times = cycle.connection.thermal_level_time;
    if (level >= 0 && static_cast<size_t>(level) < level_times.size()) {
        wrapping_count(level_times[static_cast<size_t>(level)],
                       static_cast<uint32_t>(cycle.elapsed));
    }
    if (param_integer(cycle.snapshot, PARAM_SMART_CHARGING_STATUS) != 0) {
        cycle.connection.battery_care_flg = 1;
    }
    raise(cycle.connection.moment_max_vbatt, cycle.battery_uv);
}

void follow_usb(const Cycle& cycle) {
    uint32_t& insertion_time = cycle.connection.usb_insertion_time;
    uint32_t& days = cycle.memory.usb_long_insertion_counter;
    uint32_t& threshold = cycle.memory.long_insertion_threshold;
    wrapping_count(insertion_time, static_cast<uint32_t>(cycle.elapsed));
    // A cycle counts at most one day.
    if (difference_i32(insertion_time, threshold) > SECONDS_PER_DAY) {
        days++;
        threshold = wrapping_mul(days, uint32_t{SECONDS_PER_DAY});
    }
    follow_connection(cycle);
    raise(cycle.connection.moment_max_usbin_voltage, cycle.usbin_uv);
}

void count_aicl_rises(const Cycle& cycle) {
    const uint32_t bit =
        static_cast<uint32_t>(param_integer(cycle.snapshot, PARAM_REG_AICL_STATUS)) & AICL_BIT;
    if (cycle.memory.prev_aicl_bit == 0 && bit != 0) {
        cycle.connection.icl_min_counter++;
    }
    cycle.memory.prev_aicl_bit = bit;
}

// Updates the wireless side. Returns whether this cycle also updates the USB side.
bool advance_wireless(const Cycle& cycle) {
    switch (cycle.connection.wls_state) {
        case CONNECTION_INSERTED:
            start_connection(cycle);
            cycle.connection.wlc_epp_txid = 0;
            return true;
        case CONNECTION_CONNECTED:
            follow_connection(cycle);
            copy_charger_type(cycle.connection, cycle.snapshot[PARAM_WLS_TYPE_TEXT].text);
            return true;
        case CONNECTION_REMOVED:
            follow_connection(cycle);
            end_connection(cycle);
            return false;
        default:
            return true;
    }
}

// Updates the USB side. Returns whether USB is attached.
bool advance_usb(const Cycle& cycle) {
    switch (cycle.connection.usb_state) {
        case CONNECTION_INSERTED:
            start_connection(cycle);
            cycle.connection.moment_max_usbin_voltage = cycle.usbin_uv;
            cycle.memory.prev_aicl_bit = 0;
            return true;
        case CONNECTION_CONNECTED:
            follow_usb(cycle);
            count_aicl_rises(cycle);
            copy_charger_type(cycle.connection, cycle.snapshot[PARAM_QCOM_USB_REAL_TYPE].text);
            return true;
        case CONNECTION_REMOVED:
            follow_usb(cycle);
            end_connection(cycle);
            return false;
        default:
            return false;
    }
}

}  // namespace

ConnectionState connection_state_of(int32_t previous_online, int32_t online) {
    if (online == 1) {
        return previous_online == 0   ? CONNECTION_INSERTED
               : previous_online == 1 ? CONNECTION_CONNECTED
                                      : CONNECTION_NONE;
    }
    return previous_online == 1 && online == 0 ? CONNECTION_REMOVED : CONNECTION_NONE;
}

void init_chg_insertion_removal_data(const Device& device, ServiceState& state,
                                     ChgInsertionRemovalData& connection) {
    connection = ChgInsertionRemovalData{};
    load_usb_connector_heat(device, state.heat);
}

void set_chg_insertion_removal_data(ServiceState& state, const SysfsParams& snapshot,
                                    ChgInsertionRemovalData& connection) {
    ConnectionMemory& memory = state.connection;
    const bool both_known = memory.prev_call_time != 0 && state.clock.cycle_boot_time != 0;
    const int32_t elapsed =
        both_known ? elapsed_i32(state.clock.cycle_boot_time, memory.prev_call_time) : 0;
    const Cycle cycle{memory, connection, snapshot, elapsed};

    connection.wls_state =
        next_state(memory.prev_wls_online, param_integer(snapshot, PARAM_WIRELESS_ONLINE));
    if (!advance_wireless(cycle)) {
        return;
    }
    connection.usb_state =
        next_state(memory.prev_usb_online, param_integer(snapshot, PARAM_USB_ONLINE));
    if (!advance_usb(cycle)) {
        return;
    }
    count_heat_episodes(state.heat, connection.usb_connector_heat_flg, state.clock.cycle_wall_time,
                        snapshot);
    memory.prev_call_time = state.clock.cycle_boot_time;
    memory.prev_thermal_level = param_integer(snapshot, PARAM_SYSTEM_TEMP_LEVEL);
}

}  // namespace cellwarden
