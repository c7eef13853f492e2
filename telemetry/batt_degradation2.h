// The battery's ageing summary: one BatteryDegradation2 event each time the online time passes
// another ten-day mark.
#pragma once

#include "state/batt_stat.h"
#include "state/service_state.h"
#include "telemetry/charging.pb-c.h"

namespace cellwarden {

// Sends the event if it is due. The mark counts as passed whether or not the send succeeds; the
// first evaluation after start only takes the period.
void send_ondra_batt_degr2_if_is_timing(ServiceState& state, const BattStat& stat);

// The message for a record. It points into `stat` and into static buffers that the next call
// overwrites.
Charging__BatteryDegradation2 batt_degradation2_of(const ServiceState& state, const BattStat& stat);

}  // namespace cellwarden
