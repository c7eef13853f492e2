// The battery's life-time statistics: one record of 9,728 bytes, little-endian, with the same
// layout in memory and in unit 2491. This file judges and resets it; stats/batt_stat_store.h loads
// and saves it.
//
// Units: states of health in half units, 0.002 % of design capacity (50000 = 100 %); degradations
// in 10^-6 %; wall-clock times in seconds since 1970 (32-bit fields keep the low 32 bits); online
// times in seconds of the daemon's online time. 0 means 'not yet' for every time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "numbers/extended.h"
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

using VoltageGrid = decltype(UsageState::vt_cet_table);
using ChargeGrid = decltype(UsageState::ct_charge_table);

// batt_stat_fields.inc lists and describes the fields.
struct BattStat {
#define BATT_STAT_FIELD(offset, name, unit, ...) __VA_ARGS__ name;
#define BATT_STAT_RESERVED(offset, bytes) uint8_t reserved_##offset[bytes];
#include "state/batt_stat_fields.inc"
};

static_assert(std::is_trivially_copyable_v<BattStat> && std::is_standard_layout_v<BattStat>);
static_assert(sizeof(DevAttachEntry) == 16);
static_assert(sizeof(BattStat) == 9728);
#define BATT_STAT_FIELD(offset, name, unit, ...) \
    static_assert(offsetof(BattStat, name) == (offset));
#define BATT_STAT_RESERVED(offset, bytes) \
    static_assert(offsetof(BattStat, reserved_##offset) == (offset));
#include "state/batt_stat_fields.inc"

inline constexpr uint8_t BATT_STAT_ERASED = 0xFF;  // the marker of an erased unit
inline constexpr std::array<uint8_t, 3> BATT_STAT_VERSION = {5, 2, 4};

// Result of loading a stored record.
enum class BattStatVerdict : uint8_t {
    ACCEPTED = 0,
    UPGRADED = 1,         // layout 5.2.3: only the version bytes change
    TOO_SHORT = 2,        // fewer than 4 bytes; this and all following verdicts reset the record
    ERASED = 3,           // marker 0xFF
    ZERO_MARKER = 4,      // marker 0x00
    UNKNOWN_VERSION = 5,  // not 5.2.x
    WRONG_SIZE = 6,       // 5.2.x, but not 9,728 bytes
    UNKNOWN_PATCH = 7,    // 5.2.x of the right size, with x neither 3 nor 4
};

// Judges `size` stored bytes; `bytes` must have at least the first four of them, or all if there
// are fewer.
BattStatVerdict judge_batt_stat(const uint8_t* bytes, uint32_t size);

// Resets the record to that of an unknown battery.
void reset_batt_stat(BattStat& stat);

// --- Conversion of working values of ServiceState to the units of the record, and back

// Converts degradations from % to 10^-6 %: truncates, returns 0 for negative values, saturates.
constexpr uint32_t to_micropercent(extended percent) {
    return to_u32(percent * 1'000'000);
}
constexpr extended from_micropercent(uint32_t millionths) {
    return static_cast<extended>(millionths) / 1'000'000;
}

// Converts states of health from 0.001 % to half units.
constexpr uint16_t to_half_units(int32_t soh) {
    return static_cast<uint16_t>(soh / 2);
}
constexpr int32_t from_half_units(uint16_t half_units) {
    return 2 * half_units;
}

}  // namespace cellwarden
