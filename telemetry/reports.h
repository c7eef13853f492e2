// The two telemetry events and when each of them is due.
#pragma once

#include "platform/sysfs_params.h"
#include "state/batt_stat.h"
#include "state/service_state.h"
#include "telemetry/charger_connection.h"

namespace cellwarden {

// --- batt_degradation2.cpp: the battery's ageing summary, one BatteryDegradation2 event each time
// the online time passes another ten-day mark

// Sends the event if it is due. The mark counts as passed whether or not the send succeeds; the
// first evaluation after start only takes the period.
void send_ondra_batt_degr2_if_is_timing(const Device& device, ServiceState& state,
                                        const BattStat& stat);

// --- charger_insertion_removal.cpp: the report of one charger connection, the
// ChargerInsertionRemoval event

// Sends the event when a charger was removed in this cycle, a further day of USB connection was
// counted, shutdown phase 4 began with a charger attached, or the thermal level has just reached
// its maximum. The connection is cleared only after a done attempt.
void send_ondra_chg_insertion_removal_if_is_timing(const Device& device, ServiceState& state,
                                                   ChgInsertionRemovalData& connection,
                                                   const SysfsParams& snapshot);

}  // namespace cellwarden
