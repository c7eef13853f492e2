// Use of chargers by class, 0 to 15.
#pragma once

#include <array>
#include <cstdint>

#include "platform/sysfs_params.h"
#include "state/batt_stat.h"
#include "state/service_state.h"

namespace cellwarden {

struct ChargerClassRow {
    int32_t charger_type;
    int32_t max_wattage_uw;  // the row holds up to this wattage
    int32_t charger_class;
};

inline constexpr int32_t ANY_WATTAGE = INT32_MAX;

// The first row of the type whose wattage is not exceeded gives the class.
inline constexpr std::array CHARGER_CLASS_ROWS = {
    ChargerClassRow{2, ANY_WATTAGE, 1},   ChargerClassRow{3, ANY_WATTAGE, 3},
    ChargerClassRow{4, ANY_WATTAGE, 2},   ChargerClassRow{5, ANY_WATTAGE, 0},
    ChargerClassRow{6, ANY_WATTAGE, 5},   ChargerClassRow{7, ANY_WATTAGE, 4},
    ChargerClassRow{8, ANY_WATTAGE, 4},   ChargerClassRow{9, ANY_WATTAGE, 4},
    ChargerClassRow{15, 20'000'000, 7},   ChargerClassRow{15, 30'000'000, 8},
    ChargerClassRow{15, 45'000'000, 9},   ChargerClassRow{15, 65'000'000, 10},
    ChargerClassRow{15, ANY_WATTAGE, 11}, ChargerClassRow{16, 20'000'000, 7},
    ChargerClassRow{16, 30'000'000, 8},   ChargerClassRow{16, 45'000'000, 9},
    ChargerClassRow{16, 65'000'000, 10},  ChargerClassRow{16, ANY_WATTAGE, 11},
    ChargerClassRow{19, ANY_WATTAGE, 6},  ChargerClassRow{21, ANY_WATTAGE, 13},
    ChargerClassRow{22, ANY_WATTAGE, 14},
};

// Class of a charger from the driver's charger type and, for power-delivery types, the charger's
// wattage in microwatts; -1 = none. Classes 12 and 15 are never assigned.
int32_t charger_class_of(int32_t charger_type, int32_t max_wattage_uw);

// Counts an attachment when the class changes; time and gain of charge are booked to the class of
// the previous call.
void update_charger_classes(ServiceState& state, BattStat& stat, const SysfsParams& snapshot);

}  // namespace cellwarden
