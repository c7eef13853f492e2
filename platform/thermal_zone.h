// The board's "sdm_therm" sensor: finding its thermal zone, and handing its temperature to the
// charger driver.
#pragma once

#include "platform/sysfs_params.h"

namespace cellwarden {

// Path of the temperature file of the first thermal zone, 0 to 99, whose type is "sdm_therm"; the
// empty text while there is none (the search is then repeated at the next call). Never null.
const char* sdm_therm_path_gen(const Device& device);

// Writes the zone's temperature (parameter 78, 0.001 degC), cut toward zero to 0.1 degC, to
// parameter 49 where that differs.
void provide_external_thermal_data(const Device& device, const SysfsParams& snapshot);

}  // namespace cellwarden
