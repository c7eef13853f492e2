// The steps of a cycle and their order. A cycle is a function of the given records: it neither
// reads the snapshot from the kernel nor frees it.
#pragma once

#include "platform/sysfs_params.h"
#include "product/policy.h"
#include "state/batt_stat.h"
#include "state/service_state.h"
#include "telemetry/charger_connection.h"

namespace cellwarden {

// The parameters that a cycle reads: a full cycle all of them, a light cycle the two thermal ones.
SysfsReadMask full_cycle_mask();
SysfsReadMask light_cycle_mask();

// Loads the stored records and applies the device modes, before the first wait.
void load_records(const Device& device, ServiceState& state, BattStat& stat,
                  ChgInsertionRemovalData& connection);

// Runs after a power-supply event, with a snapshot of all parameters. The daemon passes POLICY.
void run_full_cycle(const Device& device, ServiceState& state, BattStat& stat,
                    ChgInsertionRemovalData& connection, const SysfsParams& snapshot,
                    const Policy& policy);

// Runs at the end of a period, with a snapshot of the two thermal parameters.
void run_light_cycle(const Device& device, const SysfsParams& snapshot);

}  // namespace cellwarden
