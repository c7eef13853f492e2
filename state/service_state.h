// The daemon's working record, in groups: the rule named above a group computes it, the others read
// it. It is never stored as a whole: values that survive a restart are copied to BattStat and read
// back from it (stats/soft_charge_history.cpp). A restart is ServiceState{} plus the loads of
// start-up.
//
// Units: times in seconds; states of health in 0.001 % (100000 = 100 %); degradations in % of
// design capacity. Periods are ten days (864,000 s) of online time; the record has 252 of them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "numbers/extended.h"
#include "numbers/unpacked.h"
#include "product/policy.h"
#include "state/facts.h"

namespace cellwarden {

template <typename T>
using PerPeriod = std::array<T, PERIOD_COUNT>;

// A range of periods, including both ends; empty if `last` is before `first`.
struct PeriodRun {
    int32_t first;
    int32_t last;
};
inline constexpr PeriodRun ALL_PERIODS = {0, PERIOD_COUNT - 1};
inline constexpr PeriodRun NO_PERIODS = {PERIOD_COUNT, -1};

// --- Values that the rules keep between calls, one record per rule. They are not stored: the first
// call after start-up only sets the references.

// Latest terms of the Arrhenius rate. The start reading is not a valid sample (0 V), so the first
// valid sample is computed in full.
struct ArrheniusTerms {
    int32_t temperature_decic = INT32_MIN;
    int32_t voltage_uv = 0;
    Unpacked temperature_term{};
    Unpacked voltage_term{};
    Unpacked rate{};
};

// Usage accounting, ageing models and their order (charge/usage_accounting.cpp,
// charge/ageing_models.cpp, charge/soft_charge.cpp).
struct SoftChargeMemory {
    int64_t last_soft_charge_boot_time = 0;  // cycle_boot_time of the previous call; 0: no call yet

    // Voltage x temperature grid.
    int64_t grid_time = 0;  // cycle_boot_time of the previous update; 0: no update yet
    int32_t grid_temperature_decic = 0;
    int32_t grid_voltage_uv = 0;

    // State of charge x temperature grid.
    int32_t charge_soc = NO_SOC;  // 0.01 %
    int32_t charge_temperature_decic = 0;

    // Arrhenius integral.
    int32_t arrhenius_online_time = 0;  // online_time at the previous step; 0: no step yet
    int32_t arrhenius_temperature_decic = 0;
    int32_t arrhenius_voltage_uv = 0;
    ArrheniusTerms arrhenius_terms{};

    // Capacity degradation.
    // cycle_boot_time of the previous step if the battery was full then, otherwise 0.
    int64_t full_stay_start = 0;
    int32_t previous_full_stay_time = 0;  // soc_full_total_time at the previous step; 0: not known
    int32_t previous_cycle_count = 0;     // low 32 bits of total_cycle_count then; 0: not known
};

// Saving of the statistics record (stats/batt_stat_store.cpp).
struct StatSaveMemory {
    int64_t last_stat_save_time = 0;  // cycle_boot_time of the latest attempt to save BattStat
    uint64_t remembered_learning_time = 0;  // last_learning_time of the record; 0: not known
};

// The steps of the statistics (stats/): values of the previous call.
struct StatUpdateMemory {
    int32_t prev_learning_counter = 0;
    int32_t prev_soft_charge_mode = NOT_KNOWN;  // NOT_KNOWN: no call yet
    int64_t charge_start_time = 0;              // boot time if charging or full then, else 0
    int32_t prev_charge_phase = 0;
    int64_t smart_charge_start_time = 0;     // boot time if smart charging was active then, else 0
    int64_t warm_start_time = 0;             // boot time if the battery was "Warm" then, else 0
    int32_t prev_charger_class = NOT_KNOWN;  // NOT_KNOWN: no class
    int64_t class_start_time = 0;      // boot time at the latest call with a class; 0: no call
    int32_t class_start_soc = NO_SOC;  // state of charge then, 0.01 %; NO_SOC: not known
    int32_t prev_shutdown_phase = NOT_KNOWN;
    int64_t thermal_sample_time = 0;
    int32_t prev_system_temp_level = 0;
    int64_t rate_sample_time = 0;
    int32_t prev_rate_current_ua = 0;
    int32_t prev_soc = NO_SOC;  // at the previous call with a valid state of charge
    int32_t prev_soc_current_ua = 0;
    int64_t discharge_sample_time = 0;  // boot time if neither charging nor full then, else 0
};

// Tracking of the charger connection (telemetry/charger_connection.cpp).
struct ConnectionMemory {
    uint32_t usb_long_insertion_counter = 0;  // whole days counted in this USB connection
    int64_t prev_call_time = 0;               // cycle_boot_time at the last refresh
    int32_t prev_thermal_level = 0;           // system thermal level at the last refresh
    int32_t prev_usb_online = 0;
    int32_t prev_wls_online = 0;
    uint32_t long_insertion_threshold = 0;  // length in seconds of the days counted
    uint32_t prev_aicl_bit = 0;
};

// The reasons of the latest charger report (telemetry/charger_insertion_removal.cpp).
struct InsertionRemovalReportMemory {
    int32_t reported_long_insertion_counter = 0;
    int32_t reported_shutdown_phase = 0;
    int32_t reported_thermal_level = 0;
};

// The reason of the latest ageing report (telemetry/batt_degradation2.cpp).
struct BattDegr2ReportMemory {
    int32_t last_reported_period = NOT_KNOWN;  // NOT_KNOWN: no period seen yet
};

// The values that the passport has published (passport/). The start values are outside the valid
// range, so that each value is written once after start-up.
struct PassportMemory {
    bool production_date_fix_pending = false;  // set by the load of a record of layout 5.2.3
    bool production_date_published = false;
    bool first_usage_date_published = false;
    uint32_t last_cycle_count_written = UINT32_MAX;
    int32_t last_charge_full_written = -1;
    uint16_t last_soh_written = UINT16_MAX;
};

// --- Results of the rules, one group per rule.

// daemon/loop.cpp, at the start of each cycle.
struct CycleClock {
    int64_t cycle_boot_time = 0;  // CLOCK_BOOTTIME
    int64_t cycle_wall_time = 0;  // wall clock, seconds since 1970
};

// daemon/loop.cpp, once at start-up.
struct Settings {
    int32_t event_wait_timeout_s = 0;  // period of light cycles; 0: no light cycles
    char vendor_model[92] = "";        // property "ro.product.vendor.model"
};

// charge/usage_accounting.cpp.
struct UsageState {
    int32_t online_time = 0;  // time switched on over the battery's life
    int32_t soh = NOT_KNOWN;  // gauge full-charge over design capacity, at most FULL_SOH
    // Seconds; row = voltage bin, column = temperature bin.
    std::array<uint32_t, size_t{VOLTAGE_BIN_COUNT} * TEMPERATURE_BIN_COUNT> vt_cet_table{};
    // Charge put in, 0.01 % of state of charge; row = state-of-charge bin, column = temperature
    // bin.
    std::array<uint32_t, size_t{SOC_BIN_COUNT} * TEMPERATURE_BIN_COUNT> ct_charge_table{};
    uint32_t total_cycle_count = 0;  // charge put in over life, 0.01 % (10000 = one full charge)
};

// charge/ageing_models.cpp.
struct AgeingState {
    extended total_arrhenius = 0;  // Arrhenius ageing; 1 = about a second at 45 degC and 4.48 V
    PerPeriod<extended> arrhenius_per_10days{};
    int32_t soc_full_total_time = 0;  // seconds at full charge
    extended total_full_stay_cap_degradation = 0;
    PerPeriod<extended> full_stay_capacity_degradation_per_10days{};
    extended total_cycle_degradation = 0;
    PerPeriod<extended> cycle_degradation_per_10days{};
    // Periods whose sums may differ from the record's; stats/batt_stat_update.cpp copies these and
    // empties the range.
    PeriodRun changed_periods = ALL_PERIODS;
};

// charge/soft_charge.cpp and charge/soft_charge_levels.cpp. LEVEL_NOT_DECIDED in the levels per
// period means 'not yet'.
struct LevelState {
    int32_t soft_charge_mode = NOT_KNOWN;  // level 0 to 5 in force
    int32_t soft_charge1_level = 0;        // 0 to 5, from total_cycle_count
    PerPeriod<uint8_t> arrhenius_lv{};
    PerPeriod<uint8_t> full_stay_capacity_degradation_aging_lv{};
    // From the record: 0xE- suspends soft charge, 0xD- fixes the level that is written.
    uint8_t soft_charge_override = 0;
};

// charge/soh_estimates.cpp.
struct HealthState {
    int32_t latest_raw_soh = 0;
    int32_t latest_filtered_soh = 0;
    int32_t latest_predicted_soh = 0;
    int32_t latest_user_soh = 0;
    int32_t prev_soh_bucket_index = NOT_KNOWN;  // period of the previous step
    int32_t prev_bucket_user_soh = FULL_SOH;    // user state of health at that period's end
    int32_t user_charge_full = 0;               // full-charge capacity shown to the user, uAh
};

// charge/device_modes.cpp starts a hold, charge/lrc_mode.cpp controls it.
struct HoldState {
    bool lrc_hold_active = false;
    int32_t lrc_upper_soc = 0;  // upper and lower limit, %
    int32_t lrc_lower_soc = 0;
    int32_t lrc_state = 0;  // LrcState
};

// charge/device_modes.cpp; the load of the record sets restore_capacity_mah.
struct RestoreState {
    bool restored_capacity_applied = false;  // set_restored_capacity has run
    int32_t restore_capacity_mah = 0;        // learned capacity for the driver, or NOT_KNOWN
};

// telemetry/usb_connector_heat.cpp.
struct HeatState {
    uint8_t usb_connector_heat_count = 0;  // heat episodes, stops at 255
    int64_t usb_connector_heat_time = 0;   // wall clock at the start of the latest episode
    int64_t last_heat_save_time = 0;       // cycle_boot_time of the latest attempt to save both
};

struct ServiceState {
    CycleClock clock{};
    Settings settings{};
    UsageState usage{};
    AgeingState ageing{};
    LevelState levels{};
    HealthState health{};
    HoldState hold{};
    RestoreState restore{};
    HeatState heat{};

    SoftChargeMemory soft_charge{};
    StatSaveMemory stat_save{};
    StatUpdateMemory stat_update{};
    ConnectionMemory connection{};
    InsertionRemovalReportMemory insertion_removal_report{};
    BattDegr2ReportMemory batt_degr2_report{};
    PassportMemory passport{};
};

}  // namespace cellwarden
