// Tracks the attached charger from insertion to removal, and the heat of the USB connector.
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

// The current connection since the previous report; all zero if no charger is attached and every
// connection has been reported. Voltages are in uV, times in seconds, states of charge in %.
struct ChgInsertionRemovalData {
    uint8_t learning_flg = 0;      // never set
    uint8_t battery_care_flg = 0;  // 1 after smart charging has been active
    char charger_type[16] = "";    // the charger's type text
    uint32_t inserted_soc = 0;
    uint32_t removal_soc = 0;
    uint32_t inserted_sc_stage = 0;  // soft-charge level at insertion
    uint32_t removal_sc_stage = 0;
    int32_t moment_max_usbin_voltage = 0;
    int32_t moment_max_vbatt = 0;
    uint32_t icl_min_counter = 0;  // rises of the AICL bit while USB was connected
    uint32_t wlc_epp_txid = 0;
    uint32_t wlc_ping_freq = 0;                                      // never written
    uint32_t wlc_potential_power = 0;                                // never written
    std::array<uint32_t, THERMAL_LEVEL_COUNT> thermal_level_time{};  // per system thermal level
    uint32_t usb_insertion_time = 0;
    uint32_t usb_state = CONNECTION_NONE;
    uint32_t wls_state = CONNECTION_NONE;
    uint32_t wlc_guaranteed_power = 0;   // never written
    uint8_t usb_connector_heat_flg = 0;  // 1 while the system's thermal level is highest
};

// Clears the record, and loads heat count and heat time like load_usb_connector_heat.
void init_chg_insertion_removal_data(const Device& device, ServiceState& state,
                                     ChgInsertionRemovalData& connection);

// Advances the connection by one cycle. Time at thermal levels outside 0 to 19 is not counted per
// level.
void set_chg_insertion_removal_data(ServiceState& state, const SysfsParams& snapshot,
                                    ChgInsertionRemovalData& connection);

// Returns the state of a side by its previous and its current online value.
ConnectionState connection_state_of(int32_t previous_online, int32_t online);

// --- usb_connector_heat.cpp: counts, loads and stores the heat episodes of the USB connector

// Loads heat count and heat time from their units. A unit that cannot be read or has another size
// counts as 0.
void load_usb_connector_heat(const Device& device, HeatState& heat);

// Sets `is_hot` to 1 if the system is at its highest thermal level, otherwise to 0. A heat episode
// begins when `is_hot` changes from 0 to 1; `wall_time` becomes its time.
void count_heat_episodes(HeatState& heat, uint8_t& is_hot, int64_t wall_time,
                         const SysfsParams& snapshot);

// Writes heat count and heat time to their units once a day of boot time and in every cycle of
// shutdown phase 4. A failed write is logged and counts as a save.
void save_usb_connector_heat_data_if_is_timing(const Device& device, ServiceState& state,
                                               const SysfsParams& snapshot);

}  // namespace cellwarden
