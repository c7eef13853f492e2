// Constants that several rules share: units, special values and phases.
#pragma once

#include <cstdint>

namespace cellwarden {

inline constexpr int32_t SECONDS_PER_HOUR = 3600;
inline constexpr int32_t SECONDS_PER_DAY = 86'400;
inline constexpr int32_t UAH_PER_MAH = 1000;

// Ten-day periods of online time.
inline constexpr int32_t PERIOD_S = 10 * SECONDS_PER_DAY;
inline constexpr int32_t PERIOD_COUNT = 252;

// An unknown level, state of health, capacity, charger class or period.
inline constexpr int32_t NOT_KNOWN = -1;
inline constexpr uint8_t LEVEL_NOT_DECIDED = 0xFF;  // in the levels per period

inline constexpr int32_t FULL_SOH = 100'000;          // state of health of a new battery, 0.001 %
inline constexpr int32_t FULL_CHARGE_UNITS = 10'000;  // one full charge, in units of 0.01 %

// State of charge, 0.01 %. NO_SOC is above every reported value, so that the first comparison with
// it never shows a gain.
inline constexpr int32_t NO_SOC = 11'000;
constexpr bool soc_is_valid(int32_t soc) {
    return soc >= 0 && soc <= NO_SOC;
}

// Values of the attribute bootup_shutdown_phase.
inline constexpr int32_t PHASE_OFF_CHARGE = 1;  // charging while the phone is off
inline constexpr int32_t PHASE_ON = 3;
inline constexpr int32_t PHASE_SHUTDOWN = 4;

// High nibble of the record's override byte; with OVERRIDE_LEVEL, the low nibble is the level that
// the daemon writes to the driver.
inline constexpr uint8_t OVERRIDE_SUSPEND = 0xE;
inline constexpr uint8_t OVERRIDE_LEVEL = 0xD;

// The wall clock counts as set from 2017-01-01 00:00:00 UTC on.
constexpr bool wall_clock_is_set(int64_t wall_time) {
    return wall_time >= 1'483'228'800;
}

// The daemon saves its records once per day of boot time, and in every cycle of the shutdown phase.
constexpr bool save_is_due(int32_t phase, int64_t since_last_save_s) {
    return phase == PHASE_SHUTDOWN || since_last_save_s >= SECONDS_PER_DAY;
}

}  // namespace cellwarden
