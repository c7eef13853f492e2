#include "telemetry/charger_connection.h"

#include <algorithm>
#include <cstdio>

#include "platform/unit_store.h"
#include "state/elapsed.h"

namespace cellwarden {
namespace {

constexpr uint32_t SECONDS_PER_DAY = 86'400;
constexpr uint32_t AICL_BIT = 4;

template <typename T>
T read_unit_or_zero(const Device& device, Unit unit) {
    T value{};
    uint32_t size = sizeof value;
    const bool read = tessera_read_unit(device, unit, &value, &size) == 0 && size == sizeof value;
    return read ? value : T{};
}

// The kernel's readings that a connection takes over.
struct Readings {
    const SysfsParams& snapshot;

    [[nodiscard]] uint32_t capacity() const {
        return static_cast<uint32_t>(param_integer(snapshot, PARAM_BATTERY_CAPACITY));
    }
    [[nodiscard]] uint32_t soft_charge_stage() const {
        return static_cast<uint32_t>(param_integer(snapshot, PARAM_BATT_AGING_LEVEL));
    }
    [[nodiscard]] int32_t battery_uv() const {
        return param_integer(snapshot, PARAM_BATTERY_VOLTAGE_NOW);
    }
    [[nodiscard]] int32_t usbin_uv() const {
        return param_integer(snapshot, PARAM_USB_VOLTAGE_NOW);
    }
};

ConnectionState next_state(int32_t& previous_online, int32_t online) {
    const ConnectionState state = connection_state_of(previous_online, online);
    previous_online = online;
    return state;
}

void book_thermal_level(ChgInsertionRemovalData& connection, int32_t level, int32_t seconds) {
    if (level >= 0 && static_cast<size_t>(level) < THERMAL_LEVEL_COUNT) {
        connection.thermal_level_time[static_cast<size_t>(level)] += static_cast<uint32_t>(seconds);
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
void start_connection(ServiceState& state, ChgInsertionRemovalData& connection,
                      const Readings& readings) {
    state.usb_long_insertion_counter = 0;
    state.connection.long_insertion_threshold = 0;
    connection.inserted_soc = readings.capacity();
    connection.inserted_sc_stage = readings.soft_charge_stage();
    connection.moment_max_vbatt = readings.battery_uv();
}

// What a removal of either side ends with. A connection without a type ended before any cycle saw
// it connected, or its type could not be read.
void end_connection(ChgInsertionRemovalData& connection, const Readings& readings) {
    if (connection.charger_type[0] == '\0') {
        copy_charger_type(connection, "BAD CONNECTION");
    }
    connection.removal_soc = readings.capacity();
    connection.removal_sc_stage = readings.soft_charge_stage();
}

// What each cycle of a connection books, its last one included.
void follow_connection(const ServiceState& state, ChgInsertionRemovalData& connection,
                       const Readings& readings, int32_t elapsed) {
    book_thermal_level(connection, state.connection.prev_thermal_level, elapsed);
    latch_battery_care(connection, readings.snapshot);
    raise(connection.moment_max_vbatt, readings.battery_uv());
}

// Counts at most one day per cycle.
void count_days(ServiceState& state, const ChgInsertionRemovalData& connection) {
    uint32_t& threshold = state.connection.long_insertion_threshold;
    if (difference_i32(connection.usb_insertion_time, threshold) > int32_t{SECONDS_PER_DAY}) {
        state.usb_long_insertion_counter++;
        threshold = state.usb_long_insertion_counter * SECONDS_PER_DAY;
    }
}

void follow_usb(ServiceState& state, ChgInsertionRemovalData& connection, const Readings& readings,
                int32_t elapsed) {
    connection.usb_insertion_time += static_cast<uint32_t>(elapsed);
    count_days(state, connection);
    follow_connection(state, connection, readings, elapsed);
    raise(connection.moment_max_usbin_voltage, readings.usbin_uv());
}

void count_aicl_rises(ServiceState& state, ChgInsertionRemovalData& connection,
                      const SysfsParams& snapshot) {
    const uint32_t bit =
        static_cast<uint32_t>(param_integer(snapshot, PARAM_REG_AICL_STATUS)) & AICL_BIT;
    if (state.connection.prev_aicl_bit == 0 && bit != 0) {
        connection.icl_min_counter++;
    }
    state.connection.prev_aicl_bit = bit;
}

// The wireless side. Returns whether the cycle goes on with the USB side.
bool advance_wireless(ServiceState& state, ChgInsertionRemovalData& connection,
                      const Readings& readings, int32_t elapsed) {
    switch (connection.wls_state) {
        case CONNECTION_INSERTED:
            start_connection(state, connection, readings);
            connection.wlc_epp_txid = 0;
            return true;
        case CONNECTION_CONNECTED:
            follow_connection(state, connection, readings, elapsed);
            copy_charger_type(connection, readings.snapshot[PARAM_WLS_TYPE_TEXT].text);
            return true;
        case CONNECTION_REMOVED:
            follow_connection(state, connection, readings, elapsed);
            end_connection(connection, readings);
            return false;
        default:
            return true;
    }
}

// The USB side. Returns whether USB is attached.
bool advance_usb(ServiceState& state, ChgInsertionRemovalData& connection, const Readings& readings,
                 int32_t elapsed) {
    switch (connection.usb_state) {
        case CONNECTION_INSERTED:
            start_connection(state, connection, readings);
            connection.moment_max_usbin_voltage = readings.usbin_uv();
            state.connection.prev_aicl_bit = 0;
            return true;
        case CONNECTION_CONNECTED:
            follow_usb(state, connection, readings, elapsed);
            count_aicl_rises(state, connection, readings.snapshot);
            copy_charger_type(connection, readings.snapshot[PARAM_QCOM_USB_REAL_TYPE].text);
            return true;
        case CONNECTION_REMOVED:
            follow_usb(state, connection, readings, elapsed);
            end_connection(connection, readings);
            return false;
        default:
            return false;
    }
}

// The connector counts as hot while the system is at its highest thermal level.
void count_heat_episodes(ServiceState& state, ChgInsertionRemovalData& connection,
                         const SysfsParams& snapshot) {
    const bool hot = param_integer(snapshot, PARAM_SYSTEM_TEMP_LEVEL) ==
                     param_integer(snapshot, PARAM_SYSTEM_TEMP_LEVEL_MAX);
    if (hot && connection.usb_connector_heat_flg == 0) {
        state.usb_connector_heat_time = state.cycle_wall_time;
        if (state.usb_connector_heat_count < UINT8_MAX) {
            state.usb_connector_heat_count++;
        }
    }
    connection.usb_connector_heat_flg = hot ? 1 : 0;
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
    state.usb_connector_heat_count = read_unit_or_zero<uint8_t>(device, UNIT_HEAT_COUNT);
    state.usb_connector_heat_time = read_unit_or_zero<int64_t>(device, UNIT_HEAT_TIME);
}

void set_chg_insertion_removal_data(ServiceState& state, const SysfsParams& snapshot,
                                    ChgInsertionRemovalData& connection) {
    ConnectionMemory& memory = state.connection;
    const bool both_known = memory.prev_call_time != 0 && state.cycle_boot_time != 0;
    const int32_t elapsed =
        both_known ? elapsed_i32(state.cycle_boot_time, memory.prev_call_time) : 0;
    const Readings readings{snapshot};

    connection.wls_state =
        next_state(memory.prev_wls_online, param_integer(snapshot, PARAM_WIRELESS_ONLINE));
    if (!advance_wireless(state, connection, readings, elapsed)) {
        return;
    }
    connection.usb_state =
        next_state(memory.prev_usb_online, param_integer(snapshot, PARAM_USB_ONLINE));
    if (!advance_usb(state, connection, readings, elapsed)) {
        return;
    }
    count_heat_episodes(state, connection, snapshot);
    memory.prev_call_time = state.cycle_boot_time;
    memory.prev_thermal_level = param_integer(snapshot, PARAM_SYSTEM_TEMP_LEVEL);
}

}  // namespace cellwarden
