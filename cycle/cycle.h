// What one cycle does with its snapshot, and in which order. Nothing here reads the snapshot from
// the kernel or frees it: a cycle is a function of the records it is given.
#pragma once

#include "platform/sysfs_params.h"
#include "state/batt_stat.h"
#include "state/service_state.h"
#include "telemetry/charger_connection.h"

namespace cellwarden {

// The parameters that a cycle reads: all of them in a full cycle, the two thermal ones in a light
// cycle.
SysfsReadMask full_cycle_mask();
SysfsReadMask light_cycle_mask();

// Before the first wait: the stored records and the device modes.
void load_records(const Device& device, ServiceState& state, BattStat& stat,
                  ChgInsertionRemovalData& connection);

// After a power-supply event, with a snapshot of all parameters.
void run_full_cycle(const Device& device, ServiceState& state, BattStat& stat,
                    ChgInsertionRemovalData& connection, const SysfsParams& snapshot);

// At the end of a period, with a snapshot of the two thermal parameters.
void run_light_cycle(const Device& device, const SysfsParams& snapshot);

}  // namespace cellwarden
