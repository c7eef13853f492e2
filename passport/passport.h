// The battery passport: the values that eco-design rules ask a phone to report. The daemon computes
// or fetches them and writes them into the battery driver; cycle count and state of health are kept
// in the unit store as well.
#pragma once

#include "platform/device.h"
#include "state/service_state.h"

namespace cellwarden {

// Manufacturing date (with its repair on phones where a wrong one was stored), first usage date,
// cycle count, full-charge capacity, state of health, in this order; each is written when it first
// becomes known and when it changes. Called in every full cycle with a known battery.
void update_eu_eco_system_values(const Device& device, ServiceState& state);

}  // namespace cellwarden
