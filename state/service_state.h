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
#include "platform/unpacked.h"

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

// A run of periods, both ends included; empty where `last` lies before `first`.
struct PeriodRun {
    int32_t first;
    int32_t last;
};
inline constexpr PeriodRun ALL_PERIODS = {0, PERIOD_COUNT - 1};
inline constexpr PeriodRun NO_PERIODS = {PERIOD_COUNT, -1};

// --- What the rules remember from one call to the next, one record per rule. It lives for the
// process and is not stored: the first call after start-up takes references only.

// Terms of the Arrhenius rate as computed last. The start reading is no valid sample (0 V), so the
// first valid one is computed in full.
struct ArrheniusTerms {
    int32_t temperature_decic = INT32_MIN;
    int32_t voltage_uv = 0;
    Unpacked temperature_term{};
    Unpacked voltage_term{};
    extended rate = 0;
};

// Soft charge: usage accounting and ageing models.
struct SoftChargeMemory {
    int64_t last_soft_charge_boot_time = 0;  // cycle_boot_time of the previous call; 0 = none

    // Voltage x temperature grid.
    int64_t grid_time = 0;  // cycle_boot_time of the previous update; 0 = none
    int32_t grid_temperature_decic = 0;
    int32_t grid_voltage_uv = 0;

    // State of charge x temperature grid.
    int32_t charge_soc = NO_SOC;  // 0.01 %
    int32_t charge_temperature_decic = 0;

    // Arrhenius integral.
    int32_t arrhenius_online_time = 0;  // online_time at the previous step; 0 = none
    int32_t arrhenius_temperature_decic = 0;
    int32_t arrhenius_voltage_uv = 0;
    ArrheniusTerms arrhenius_terms{};

    // Capacity degradation.
    int64_t full_stay_start = 0;          // cycle_boot_time of the previous step if the battery was
                                          // full then; 0 = it was not
    int32_t previous_full_stay_time = 0;  // soc_full_total_time at the previous step; 0 = none
    int32_t previous_cycle_count = 0;     // low 32 bits of total_cycle_count there; 0 = none
};

// Saving of the statistics record.
struct StatSaveMemory {
    uint64_t remembered_learning_time = 0;  // last_learning_time of the record; 0 = none
};

// Update of the statistics record: values of the previous call.
struct StatUpdateMemory {
    int32_t prev_learning_counter = 0;
    int32_t prev_soft_charge_mode = -1;  // -1 = none yet
    int64_t charge_start_time = 0;       // boot time if charging or full then; 0 = not
    int32_t prev_charge_phase = 0;
    int64_t smart_charge_start_time = 0;  // boot time if smart charging was active then; 0 = not
    int64_t warm_start_time = 0;          // boot time if the battery was "Warm" then; 0 = not
    int32_t prev_charger_class = -1;      // -1 = none
    int64_t class_start_time = 0;         // boot time at the latest call with a class; 0 = none
    int32_t class_start_soc = NO_SOC;     // state of charge then, 0.01 %; NO_SOC = none
    int32_t prev_shutdown_phase = -1;
    int64_t thermal_sample_time = 0;
    int32_t prev_system_temp_level = 0;
    int64_t rate_sample_time = 0;
    int32_t prev_rate_current_ua = 0;
    int32_t prev_soc = NO_SOC;  // at the previous call with a valid state of charge
    int32_t prev_soc_current_ua = 0;
    int64_t discharge_sample_time = 0;  // boot time if neither charging nor full then; 0 = not
};

// Following the charger connection.
struct ConnectionMemory {
    int64_t prev_call_time = 0;      // cycle_boot_time at the last refresh
    int32_t prev_thermal_level = 0;  // system thermal level at the last refresh
    int32_t prev_usb_online = 0;
    int32_t prev_wls_online = 0;
    uint32_t long_insertion_threshold = 0;  // seconds of the days already counted
    uint32_t prev_aicl_bit = 0;
};

// What made the charger report go out last.
struct InsertionRemovalReportMemory {
    int32_t reported_long_insertion_counter = 0;
    int32_t reported_shutdown_phase = 0;
    int32_t reported_thermal_level = 0;
};

// What made the ageing report go out last.
struct BattDegr2ReportMemory {
    int32_t last_reported_period = -1;  // -1 = no period seen since start
};

// What the passport has published. The start values lie outside the range of real ones, so each
// value is written once after start-up.
struct PassportMemory {
    bool production_date_published = false;
    bool first_usage_date_published = false;
    uint32_t last_cycle_count_written = UINT32_MAX;
    int32_t last_charge_full_written = -1;
    uint16_t last_soh_written = UINT16_MAX;
};

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
    PeriodRun changed_periods = ALL_PERIODS;  // whose ageing sums may differ from the record's

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

    SoftChargeMemory soft_charge{};
    StatSaveMemory stat_save{};
    StatUpdateMemory stat_update{};
    ConnectionMemory connection{};
    InsertionRemovalReportMemory insertion_removal_report{};
    BattDegr2ReportMemory batt_degr2_report{};
    PassportMemory passport{};
};

}  // namespace cellwarden
