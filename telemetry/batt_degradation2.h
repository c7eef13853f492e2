// The battery's ageing summary: one BatteryDegradation2 event each time the online time passes
// another ten-day mark.
#pragma once

#include "platform/device.h"
#include "state/batt_stat.h"
#include "state/service_state.h"

namespace cellwarden {

// Sends the event if it is due. The mark counts as passed whether or not the send succeeds; the
// first evaluation after start only takes the period.
void send_ondra_batt_degr2_if_is_timing(const Device& device, ServiceState& state,
                                        const BattStat& stat);

}  // namespace cellwarden
