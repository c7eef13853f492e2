// Names under which this phone knows its parts, besides its attributes.
#pragma once

#include <string_view>

namespace cellwarden {

// POWER_SUPPLY_NAME of the uevents that make a full cycle; at most 15 characters each.
inline constexpr const char* SUPPLIES[] = {"battery", "usb", "wireless"};

// Type of the thermal zone whose temperature the charger driver is given.
inline constexpr std::string_view THERMAL_ZONE_TYPE = "sdm_therm";

}  // namespace cellwarden
