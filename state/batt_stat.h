// The battery's life-time statistics: one record of 9,728 bytes, little-endian, whose layout is
// also its stored form in unit 2491. Its loading, validation, upgrade and saving.
//
// Units: states of health in half units, 0.002 % of design capacity (50000 = 100 %); degradations
// in millionths of a per cent; wall-clock times in seconds since 1970 (32-bit ones keep the low 32
// bits); online times in seconds of the daemon's online time; 0 = not yet for every time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "platform/sysfs_params.h"
#include "state/service_state.h"

namespace cellwarden {

// Use of one class of charger.
struct DevAttachEntry {
    uint32_t dev_attach_count;       // attachments
    uint32_t dev_attach_total_time;  // seconds attached
    uint32_t dev_charge_count;       // state of charge gained, 0.01 %
    uint32_t reserved;
};

inline constexpr size_t CHARGER_CLASS_COUNT = 16;
inline constexpr size_t SOH_MILESTONE_COUNT = 9;

struct BattStat {
    uint8_t initialize;               // record-valid marker, never 0x00 or 0xFF in a valid record
    std::array<uint8_t, 3> version;   // 5, 2, 4
    std::array<uint16_t, 5> fcc_mah;  // full-charge capacity history, newest first
    uint16_t learning_total_count;    // capacity-learning events
    std::array<char, 16> battery_model_name;  // zero-terminated; empty until first filled
    uint64_t initialized_time;  // wall clock of the boot at which the statistics became
                                // established
    uint32_t online_time;       // selects the ten-day period
    uint8_t reserved_002c[4];
    uint64_t last_learning_time;  // wall clock of the latest capacity-learning event
    uint16_t latest_user_soh;
    uint16_t latest_raw_soh;
    uint16_t latest_filtered_soh;
    uint16_t latest_predicted_soh;
    std::array<uint64_t, SOH_MILESTONE_COUNT> first_soh_time;  // first below 95, 90, 85, 80, 70,
                                                               // 60, 50, 40, 20 %
    uint8_t reserved_0088[7];
    uint8_t shutdown_capacity;  // per cent, in the latest shutdown phase
    uint32_t soft_charge_mode;  // level last in force
    uint8_t reserved_0094[4];
    uint32_t total_cycle_count;  // charge put in over life, 0.01 % (10000 = one full charge)
    uint8_t reserved_009c[4];
    std::array<uint64_t, 5> soft_charge1_onlinetime;  // online time at which level 1..5 was reached
    std::array<uint64_t, 5> soft_charge5_onlinetime;  // never changed here; reported as stored
    uint8_t reserved_00f0[16];
    decltype(ServiceState::vt_cet_table) vt_cet_table;        // seconds per voltage x temperature
    decltype(ServiceState::ct_charge_table) ct_charge_table;  // 0.01 % per charge x temperature
    uint32_t full_count;                                      // never changed here, as the next two
    uint32_t recharge_count;
    uint32_t learning_try_cnt;
    uint8_t reserved_0e0c[4];
    uint32_t soc0_shutdown_cnt;  // shutdowns entered with an empty battery
    uint32_t safety_timer_cnt;   // never changed here
    uint8_t reserved_0e18[8];
    uint64_t off_charge_total_time;  // seconds charging while the phase was 1
    uint64_t on_charge_total_time;   // seconds charging while the phase was 3
    uint64_t soc_full_total_time;    // seconds at full charge
    uint64_t smart_charge_mode_total_time;
    uint8_t reserved_0e40[16];
    uint32_t jeita_warm_total_time;  // seconds with battery health "Warm"
    uint8_t reserved_0e54[28];
    std::array<uint32_t, 4> thermal_range_stay_time;  // seconds per range of system thermal levels
    uint32_t over_08c_total_time;                     // seconds charging at 0.8C or more
    uint32_t over_08c_charge_count;  // state of charge gained at 0.8C or more, 0.01 %
    uint32_t over_06c_total_time;    // the same at 0.6C or more, where it was not 0.8C
    uint32_t over_06c_charge_count;
    uint16_t max_discharge_current;      // magnitudes, mA
    uint16_t max_dischg_cur_3500mv_10c;  // below 3.5 V and 10 degC
    uint16_t max_dischg_cur_3500mv_5c;   // below 3.5 V and 5 degC
    uint16_t max_dischg_cur_3500mv_0c;   // below 3.5 V and 0 degC
    uint8_t reserved_0e98[4];
    int16_t max_temp;                            // 0.1 degC; -32768 = none yet
    int16_t min_temp;                            // 0.1 degC; 32767 = none yet
    std::array<uint32_t, 4> max_discharge_time;  // wall clock of the four discharge maxima
    uint8_t reserved_0eb0[8];
    uint32_t max_temp_time;  // wall clock
    uint32_t min_temp_time;
    std::array<uint32_t, 8> total_discharge_time;  // seconds of heavy discharge by condition
    std::array<uint16_t, 5> fcc_mah_raw;           // learned-capacity history, newest first
    uint16_t max_cell_voltage;                     // in the driver's vcell_max unit
    uint32_t max_cell_voltage_time;                // wall clock
    uint8_t reserved_0ef0[12];
    uint8_t soft_charge_override;  // never written here
    uint8_t reserved_0efd[3];
    std::array<DevAttachEntry, CHARGER_CLASS_COUNT> dev_attach;
    uint32_t total_arrhenius;
    uint8_t reserved_1004[12];
    PerPeriod<uint32_t> arrhenius_per_10days;
    PerPeriod<uint8_t> arrhenius_lv;  // 255 = not decided
    uint8_t reserved_14fc[4];
    uint32_t total_full_stay_cap_degradation;
    uint8_t reserved_1504[12];
    PerPeriod<uint32_t> full_stay_capacity_degradation_per_10days;
    PerPeriod<uint8_t> full_stay_capacity_degradation_aging_lv;  // 255 = not decided
    uint8_t reserved_19fc[4];
    uint32_t total_cycle_degradation;
    uint8_t reserved_1a04[12];
    PerPeriod<uint32_t> cycle_degradation_per_10days;
    PerPeriod<uint16_t> user_soh_per_10days;
    uint8_t reserved_1ff8[8];
    PerPeriod<uint16_t> raw_soh_per_10days;
    uint8_t reserved_21f8[8];
    PerPeriod<uint16_t> filtered_soh_per_10days;
    uint8_t reserved_23f8[8];
    PerPeriod<uint16_t> predicted_soh_per_10days;
    uint8_t reserved_25f8[8];
};

static_assert(std::is_trivially_copyable_v<BattStat> && std::is_standard_layout_v<BattStat>);
static_assert(sizeof(DevAttachEntry) == 16);
static_assert(sizeof(BattStat) == 9728);
#define BATT_STAT_FIELD(offset, name, unit) static_assert(offsetof(BattStat, name) == (offset));
#include "state/batt_stat_fields.inc"
#undef BATT_STAT_FIELD

inline constexpr uint8_t BATT_STAT_ERASED = 0xFF;  // the marker of an erased unit
inline constexpr std::array<uint8_t, 3> BATT_STAT_VERSION = {5, 2, 4};

// What becomes of a stored record at the load.
enum class BattStatVerdict : uint8_t {
    ACCEPTED = 0,
    UPGRADED = 1,         // layout 5.2.3: only the version bytes change
    TOO_SHORT = 2,        // fewer than 4 bytes; this and all that follow lead to a reset record
    ERASED = 3,           // marker 0xFF
    ZERO_MARKER = 4,      // marker 0x00
    UNKNOWN_VERSION = 5,  // not 5.2.x
    WRONG_SIZE = 6,       // 5.2.x, but not 9,728 bytes
    UNKNOWN_PATCH = 7,    // 5.2.x of the right size, with x neither 3 nor 4
};

// Judges `size` stored bytes, of which at least the first four (or all, where there are fewer) lie
// at `bytes`.
BattStatVerdict judge_batt_stat(const uint8_t* bytes, uint32_t size);

// The record of a battery about which nothing is known.
void reset_batt_stat(BattStat& stat);

// Loads the record, or resets it, and seeds the working state of soft charge from it. Logs nothing.
void init_batt_stat(const Device& device, ServiceState& state, BattStat& stat);

// Seeds the working state of soft charge from an accepted record.
void seed_service_state(ServiceState& state, const BattStat& stat);

// Writes the record to its unit once a day of boot time, in every cycle of shutdown phase 4, and
// when a capacity-learning event has come after the one first seen. A write that fails is logged
// and counts as a save.
void save_batt_stat_if_is_timing(const Device& device, ServiceState& state,
                                 const SysfsParams& snapshot, const BattStat& stat);

}  // namespace cellwarden
