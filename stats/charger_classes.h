// Use of chargers by class, 0 to 15.
#pragma once

#include <cstdint>

#include "platform/sysfs_params.h"
#include "state/batt_stat.h"
#include "state/service_state.h"

namespace cellwarden {

// Class of a charger from the driver's charger type and, for power-delivery types, the charger's
// wattage in microwatts; -1 = none.
int32_t charger_class_of(int32_t charger_type, int32_t max_wattage_uw);

// Counts an attachment when the class changes; time and gain of charge are booked to the class of
// the previous call.
void update_charger_classes(const CycleClock& clock, StatUpdateMemory& memory, BattStat& stat,
                            const SysfsParams& snapshot);

}  // namespace cellwarden
