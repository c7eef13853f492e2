// The board's "sdm_therm" sensor: finds its thermal zone, and forwards its temperature to the
// charger driver.
#pragma once

#include "platform/sysfs_params.h"

namespace cellwarden {

// Returns the path of the temperature file of the first thermal zone, 0 to 99, whose type is
// "sdm_therm". If no zone has this type, returns an empty text, and the next call searches again.
const char* sdm_therm_path_gen(const Device& device);

// Writes the zone's temperature (parameter 78, 0.001 degC), truncated toward zero to 0.1 degC, to
// parameter 49 if it differs.
void provide_external_thermal_data(const Device& device, const SysfsParams& snapshot);

}  // namespace cellwarden
