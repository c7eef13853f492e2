// Conversion of working values of ServiceState to the units of the stored record, and back.
#pragma once

#include <cstdint>

#include "numbers/extended.h"

namespace cellwarden {

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
