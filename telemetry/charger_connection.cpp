#include "telemetry/charger_connection.h"

#include <algorithm>
#include <cstdio>

#include "state/elapsed.h"
#include "state/wrapping.h"
#include "telemetry/usb_connector_heat.h"

namespace cellwarden {
namespace {

constexpr uint32_t AICL_BIT = 4;

// The kernel's readings that a connection takes over.
struct Readings {
    const SysfsParams& snapshot;
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

void book_thermal_level(ChgInsertionRemovalData& connection, int32_t level, int32_t seconds) {
    if (level >= 0 && static_cast<size_t>(level) < THERMAL_LEVEL_COUNT) {
        wrapping_count(connection.thermal_level_time[static_cast<size_t>(level)],
                       static_cast<uint32_t>(seconds));
    }
}

void latch_battery_care(ChgInsertionRemovalData& connection, const SysfsParams& snapshot) {
    if (param_integer(snapshot, PARAM_SMART_CHARGING_STATUS) != 0) {
        connection.battery_care_flg = 1;
    }
}

void raise(int32_t& maximum, int32_t value) {
    maximum = std::max(maximum, value);
}

void copy_charger_type(ChgInsertionRemovalData& connection, const char* text) {
    (void)snprintf(connection.charger_type, sizeof connection.charger_type, "%.15s", text);
}

// What an insertion of either side starts; all else goes on from the previous report.
void start_connection(ConnectionMemory& memory, ChgInsertionRemovalData& connection,
                      const Readings& readings) {
    memory.usb_long_insertion_counter = 0;
    memory.long_insertion_threshold = 0;
    connection.inserted_soc = readings.capacity;
    connection.inserted_sc_stage = readings.soft_charge_stage;
    connection.moment_max_vbatt = readings.battery_uv;
}

// What a removal of either side ends with. A connection without a type ended before any cycle saw
// it connected, or its type could not be read.
void end_connection(ChgInsertionRemovalData& connection, const Readings& readings) {
    if (connection.charger_type[0] == '\0') {
        copy_charger_type(connection, "BAD CONNECTION");
    }
    connection.removal_soc = readings.capacity;
    connection.removal_sc_stage = readings.soft_charge_stage;
}

// What each cycle of a connection books, its last one included.
void follow_connection(const ConnectionMemory& memory, ChgInsertionRemovalData& connection,
                       const Readings& readings, int32_t elapsed) {
    book_thermal_level(connection, memory.prev_thermal_level, elapsed);
    latch_battery_care(connection, readings.snapshot);
    raise(connection.moment_max_vbatt, readings.battery_uv);
}

// Counts at most one day per cycle.
void count_days(ConnectionMemory& memory, const ChgInsertionRemovalData& connection) {
    uint32_t& threshold = memory.long_insertion_threshold;
    if (difference_i32(connection.usb_insertion_time, threshold) > SECONDS_PER_DAY) {
        memory.usb_long_insertion_counter++;
        threshold = wrapping_mul(memory.usb_long_insertion_counter, uint32_t{SECONDS_PER_DAY});
    }
}

void follow_usb(ConnectionMemory& memory, ChgInsertionRemovalData& connection,
                const Readings& readings, int32_t elapsed) {
    wrapping_count(connection.usb_insertion_time, static_cast<uint32_t>(elapsed));
    count_days(memory, connection);
    follow_connection(memory, connection, readings, elapsed);
    raise(connection.moment_max_usbin_voltage, readings.usbin_uv);
}

void count_aicl_rises(ConnectionMemory& memory, ChgInsertionRemovalData& connection,
                      const SysfsParams& snapshot) {
    const uint32_t bit =
        static_cast<uint32_t>(param_integer(snapshot, PARAM_REG_AICL_STATUS)) & AICL_BIT;
    if (memory.prev_aicl_bit == 0 && bit != 0) {
        connection.icl_min_counter++;
    }
    memory.prev_aicl_bit = bit;
}

// The wireless side. Returns whether the cycle goes on with the USB side.
bool advance_wireless(ConnectionMemory& memory, ChgInsertionRemovalData& connection,
                      const Readings& readings, int32_t elapsed) {
    switch (connection.wls_state) {
        case CONNECTION_INSERTED:
            start_connection(memory, connection, readings);
            connection.wlc_epp_txid = 0;
            return true;
        case CONNECTION_CONNECTED:
            follow_connection(memory, connection, readings, elapsed);
            copy_charger_type(connection, readings.snapshot[PARAM_WLS_TYPE_TEXT].text);
            return true;
        case CONNECTION_REMOVED:
            follow_connection(memory, connection, readings, elapsed);
            end_connection(connection, readings);
            return false;
        default:
            return true;
    }
}

// The USB side. Returns whether USB is attached.
bool advance_usb(ConnectionMemory& memory, ChgInsertionRemovalData& connection,
                 const Readings& readings, int32_t elapsed) {
    switch (connection.usb_state) {
        case CONNECTION_INSERTED:
            start_connection(memory, connection, readings);
            connection.moment_max_usbin_voltage = readings.usbin_uv;
            memory.prev_aicl_bit = 0;
            return true;
        case CONNECTION_CONNECTED:
            follow_usb(memory, connection, readings, elapsed);
            count_aicl_rises(memory, connection, readings.snapshot);
            copy_charger_type(connection, readings.snapshot[PARAM_QCOM_USB_REAL_TYPE].text);
            return true;
        case CONNECTION_REMOVED:
            follow_usb(memory, connection, readings, elapsed);
            end_connection(connection, readings);
            return false;
        default:
            return false;
    }
}

}  // namespace

ConnectionState connection_state_of(int32_t previous_online, int32_t online) {
    if (previous_online == 0) {
        return online == 1 ? CONNECTION_INSERTED : CONNECTION_NONE;
    }
    if (previous_online == 1 && online == 1) {
        return CONNECTION_CONNECTED;
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
    const Readings readings{snapshot};

    connection.wls_state =
        next_state(memory.prev_wls_online, param_integer(snapshot, PARAM_WIRELESS_ONLINE));
    if (!advance_wireless(memory, connection, readings, elapsed)) {
        return;
    }
    connection.usb_state =
        next_state(memory.prev_usb_online, param_integer(snapshot, PARAM_USB_ONLINE));
    if (!advance_usb(memory, connection, readings, elapsed)) {
        return;
    }
    count_heat_episodes(state.heat, connection.usb_connector_heat_flg, state.clock.cycle_wall_time,
                        snapshot);
    memory.prev_call_time = state.clock.cycle_boot_time;
    memory.prev_thermal_level = param_integer(snapshot, PARAM_SYSTEM_TEMP_LEVEL);
}

}  // namespace cellwarden
