// Sends the two telemetry events when they are due.
#pragma once

#include "platform/sysfs_params.h"
#include "state/batt_stat.h"
#include "state/service_state.h"
#include "telemetry/charger_connection.h"

namespace cellwarden {

// --- batt_degradation2.cpp: the BatteryDegradation2 event, the battery's ageing summary

// Sends one event if the online time has passed a ten-day mark since the previous call. A failed
// send is not repeated. The first call after start-up only stores the current period. Calls while
// reporting is not allowed have no effect.
void send_ondra_batt_degr2_if_is_timing(const Device& device, ServiceState& state,
                                        const BattStat& stat);

// --- charger_insertion_removal.cpp: the ChargerInsertionRemoval event, the report of one charger
// connection

// Sends the event if, in this cycle, a charger was removed, another day of USB connection was
// counted, shutdown phase 4 began with a charger attached, or the thermal level reached its
// maximum. Clears the connection if send_event returns DONE.
void send_ondra_chg_insertion_removal_if_is_timing(const Device& device, ServiceState& state,
                                                   ChgInsertionRemovalData& connection,
                                                   const SysfsParams& snapshot);

}  // namespace cellwarden
