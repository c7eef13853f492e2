// Following the charger that is attached, from insertion to removal, and the USB connector's heat.
#pragma once

#include <array>
#include <cstdint>

#include "platform/sysfs_params.h"
#include "state/service_state.h"

namespace cellwarden {

inline constexpr size_t THERMAL_LEVEL_COUNT = 20;

// State of one side, USB or wireless, in this cycle.
enum ConnectionState : uint32_t {
    CONNECTION_NONE = 0,
    CONNECTION_INSERTED = 1,  // in this cycle
    CONNECTION_CONNECTED = 2,
    CONNECTION_REMOVED = 3,  // in this cycle
};

// The current connection since the previous report. All zero when nothing is attached and all is
// reported. Voltages in uV, times in seconds, states of charge in per cent.
struct ChgInsertionRemovalData {
    uint8_t learning_flg = 0;      // never set
    uint8_t battery_care_flg = 0;  // 1 once smart charging was seen active
    char charger_type[16] = "";    // the charger's type text
    uint32_t inserted_soc = 0;
    uint32_t removal_soc = 0;
    uint32_t inserted_sc_stage = 0;  // soft-charge level at insertion
    uint32_t removal_sc_stage = 0;
    int32_t moment_max_usbin_voltage = 0;
    int32_t moment_max_vbatt = 0;
    uint32_t icl_min_counter = 0;  // rises of the AICL bit while USB was connected
    uint32_t wlc_epp_txid = 0;
    uint32_t wlc_ping_freq = 0;  // never written, as the next
    uint32_t wlc_potential_power = 0;
    std::array<uint32_t, THERMAL_LEVEL_COUNT> thermal_level_time{};  // per system thermal level
    uint32_t usb_insertion_time = 0;
    uint32_t usb_state = CONNECTION_NONE;
    uint32_t wls_state = CONNECTION_NONE;
    uint32_t wlc_guaranteed_power = 0;   // never written
    uint8_t usb_connector_heat_flg = 0;  // 1 while the connector counts as hot
};

// Clears the record and loads heat count and heat time from their units; a unit that cannot be read
// or has another size counts as 0.
void init_chg_insertion_removal_data(const Device& device, ServiceState& state,
                                     ChgInsertionRemovalData& connection);

// Advances the connection by one cycle. Seconds at a thermal level outside 0 to 19 are booked
// nowhere.
void set_chg_insertion_removal_data(ServiceState& state, const SysfsParams& snapshot,
                                    ChgInsertionRemovalData& connection);

// The state that follows from a side's previous and current online value.
ConnectionState connection_state_of(int32_t previous_online, int32_t online);

// --- usb_connector_heat.cpp: the USB connector's heat episodes, counting, loading and storing them

// Reads heat count and heat time; a unit that cannot be read or has another size counts as 0.
void load_usb_connector_heat(const Device& device, HeatState& heat);

// The connector counts as hot while the system is at its highest thermal level. `is_hot` (0 or 1)
// holds what the previous call found; an episode begins where it changes to 1.
void count_heat_episodes(HeatState& heat, uint8_t& is_hot, int64_t wall_time,
                         const SysfsParams& snapshot);

// Writes heat count and heat time to their units once a day of boot time and in every cycle of
// shutdown phase 4. A write that fails is logged and counts as a save.
void save_usb_connector_heat_data_if_is_timing(const Device& device, ServiceState& state,
                                               const SysfsParams& snapshot);

}  // namespace cellwarden
