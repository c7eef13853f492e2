// Storing the USB connector's heat episodes.
#pragma once

#include "platform/sysfs_params.h"
#include "state/service_state.h"

namespace cellwarden {

// Writes heat count and heat time to their units once a day of boot time and in every cycle of
// shutdown phase 4. A write that fails is logged and counts as a save.
void save_usb_connector_heat_data_if_is_timing(const Device& device, ServiceState& state,
                                               const SysfsParams& snapshot);

}  // namespace cellwarden
