// The report of one charger connection: the ChargerInsertionRemoval event.
#pragma once

#include "platform/sysfs_params.h"
#include "state/service_state.h"
#include "telemetry/charger_connection.h"

namespace cellwarden {

// Sends the event when a charger was removed in this cycle, a further day of USB connection was
// counted, shutdown phase 4 began with a charger attached, or the thermal level has just reached
// its maximum. The connection is cleared only after a done attempt.
void send_ondra_chg_insertion_removal_if_is_timing(const Device& device, ServiceState& state,
                                                   ChgInsertionRemovalData& connection,
                                                   const SysfsParams& snapshot);

}  // namespace cellwarden
