// The USB connector's heat episodes: counting, loading and storing them.
#pragma once

#include "platform/sysfs_params.h"
#include "state/service_state.h"

namespace cellwarden {

// Reads heat count and heat time; a unit that cannot be read or has another size counts as 0.
void load_usb_connector_heat(const Device& device, HeatState& heat);

// The connector counts as hot while the system is at its highest thermal level. `is_hot` (0 or 1)
// holds what the previous call found; an episode begins where it changes to 1.
void count_heat_episodes(HeatState& heat, uint8_t& is_hot, int64_t wall_time,
                         const SysfsParams& snapshot);

// Writes heat count and heat time to their units once a day of boot time and in every cycle of
// shutdown phase 4. A write that fails is logged and counts as a save.
void save_usb_connector_heat_data_if_is_timing(const Device& device, ServiceState& state,
                                               const SysfsParams& snapshot);

}  // namespace cellwarden
