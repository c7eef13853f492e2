// The daemon's one long-lived working record. Every field has one owner that computes it; the
// others read it. It is never stored as a whole: what survives a restart is copied into BattStat
// and seeded from it again. A restart is ServiceState{} plus the loads of start-up.
//
// Units: times in seconds; states of health in 0.001 % (100000 = 100 %); degradations in per cent
// of design capacity; periods are ten days (864,000 s) of online time, 252 of which are kept.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/extended.h"

namespace cellwarden {

inline constexpr int32_t PERIOD_S = 864'000;
inline constexpr int32_t PERIOD_COUNT = 252;
inline constexpr int32_t VOLTAGE_BIN_COUNT = 42;
inline constexpr int32_t TEMPERATURE_BIN_COUNT = 16;
inline constexpr int32_t SOC_BIN_COUNT = 10;

// A state of charge that no battery reports: the first comparison with it never shows a gain.
inline constexpr int32_t NO_SOC = 11'000;

template <typename T>
using PerPeriod = std::array<T, PERIOD_COUNT>;

struct ServiceState {
    // --- Start-up and main loop
    int64_t cycle_boot_time = 0;               // CLOCK_BOOTTIME at the start of this cycle
    int64_t cycle_wall_time = 0;               // wall clock at the start of this cycle, since 1970
    int64_t last_stat_save_time = 0;           // cycle_boot_time of the latest try to save BattStat
    int64_t last_heat_save_time = 0;           // same for the USB connector heat data
    int32_t event_wait_timeout_s = 0;          // period of light cycles; 0 = none
    bool production_date_fix_pending = false;  // the loaded record was upgraded from layout 5.2.3

    // --- Soft charge: usage
    int32_t soft_charge_mode = -1;  // level 0 to 5 in force; -1 = not known
    int32_t online_time = 0;        // switched-on time over the battery's life
    int32_t soh = -1;               // gauge full-charge over design capacity, at most 100000; -1 =
                                    // not known
    std::array<uint32_t, size_t{VOLTAGE_BIN_COUNT} * TEMPERATURE_BIN_COUNT>
        vt_cet_table{};  // seconds,
                         // row = voltage bin, column = temperature bin
    std::array<uint32_t, size_t{SOC_BIN_COUNT} * TEMPERATURE_BIN_COUNT>
        ct_charge_table{};           // charge put in,
                                     // 0.01 % of state of charge; row = state-of-charge bin
    uint32_t total_cycle_count = 0;  // charge put in over life, 0.01 % (10000 = one full charge)

    // --- Soft charge: levels and ageing models
    int32_t soft_charge1_level = 0;  // 0 to 5, from total_cycle_count
    extended total_arrhenius = 0;    // Arrhenius ageing; 1 = about a second at 45 degC and 4.48 V
    PerPeriod<extended> arrhenius_per_10days{};
    PerPeriod<uint8_t> arrhenius_lv{};  // level decided per period; 255 = not decided
    int32_t soc_full_total_time = 0;    // seconds at full charge
    extended total_full_stay_cap_degradation = 0;
    PerPeriod<extended> full_stay_capacity_degradation_per_10days{};
    PerPeriod<uint8_t> full_stay_capacity_degradation_aging_lv{};  // 255 = not decided
    extended total_cycle_degradation = 0;
    PerPeriod<extended> cycle_degradation_per_10days{};

    // --- States of health
    int32_t latest_raw_soh = 0;
    int32_t latest_filtered_soh = 0;
    int32_t latest_predicted_soh = 0;
    int32_t latest_user_soh = 0;
    int32_t prev_soh_bucket_index = -1;     // period of the previous step; -1 = none
    int32_t prev_bucket_user_soh = 100000;  // user state of health at that period's end
    int32_t user_charge_full = 0;           // full-charge capacity shown to the user, uAh

    // --- Device modes
    bool restored_capacity_applied = false;  // set_restored_capacity has run
    int32_t restore_capacity_mah = 0;        // learned capacity to hand to the driver; -1 = none
    bool lrc_hold_active = false;            // a device-mode charge hold is in force
    int32_t lrc_upper_soc = 0;               // limits of the hold, per cent
    int32_t lrc_lower_soc = 0;
    int32_t lrc_state = 0;  // 0 charging, 1 holding, 2 draining

    // --- Charger connection
    uint32_t usb_long_insertion_counter = 0;  // whole days counted in this USB connection
    uint8_t usb_connector_heat_count = 0;     // heat episodes, stops at 255
    int64_t usb_connector_heat_time = 0;      // wall clock at the start of the latest episode

    uint8_t soft_charge_override =
        0;                       // from the record: 0xE- suspends, 0xD- fixes the level written
    char vendor_model[92] = "";  // property "ro.product.vendor.model"
};

}  // namespace cellwarden
