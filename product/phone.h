// Names and numbers of this phone's parts, except its attributes.
#pragma once

#include <cstdint>
#include <string_view>

namespace cellwarden {

// POWER_SUPPLY_NAME of the uevents that start a full cycle; at most 15 characters each.
inline constexpr const char* SUPPLIES[] = {"battery", "usb", "wireless"};

// Type of the thermal zone whose temperature the daemon writes to the charger driver.
inline constexpr std::string_view THERMAL_ZONE_TYPE = "sdm_therm";

// Units of the persistent store: whether the daemon reads or writes them, their size in bytes, and
// their content.
enum Unit : uint32_t {
    UNIT_STARTUP_PROCESS = 2227,      // read, 4 bytes: 171 = the phone is in its start-up process
    UNIT_HEAT_TIME = 2310,            // read, written, 8: start of the latest heat episode, i64 s
    UNIT_CHARGE_DISABLE = 2312,       // read, 1: 1 = charging is to be disabled
    UNIT_HEAT_COUNT = 2319,           // read, written, 1: USB connector heat episodes
    UNIT_BATT_STAT = 2491,            // read, written, 9,728: the statistics record
    UNIT_PRODUCTION_DATE = 2802,      // read, written, 6: YYMMDD as ASCII digits
    UNIT_FIRST_USAGE_DATE = 2803,     // read, 4 or more: i32 at offset 0
    UNIT_CYCLE_COUNT = 2804,          // written, 4: whole cycles, u32
    UNIT_STATE_OF_HEALTH = 2805,      // written, 2: whole per cent, u16
    UNIT_CAMERA_CALIBRATION = 66677,  // read, 1: 1 = camera calibration mode
};

}  // namespace cellwarden
