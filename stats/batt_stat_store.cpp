#include "stats/batt_stat_store.h"

#include "platform/log.h"
#include "platform/unit_store.h"
#include "state/elapsed.h"
#include "stats/batt_stat_update.h"

namespace cellwarden {
namespace {

// Returns whether the time of the latest capacity-learning event has changed since the previous
// call. A change from 0 does not count.
bool learning_time_changed(StatSaveMemory& memory, uint64_t last_learning_time) {
    const uint64_t remembered = memory.remembered_learning_time;
    memory.remembered_learning_time = last_learning_time;
    return remembered != 0 && remembered != last_learning_time;
}

}  // namespace

void init_batt_stat(const Device& device, ServiceState& state, BattStat& stat) {
    uint32_t size = sizeof stat;
    if (tessera_read_unit(device, UNIT_BATT_STAT, &stat, &size) != 0) {
        size = 0;
    }
    const bool erased = size != 0 && stat.initialize == BATT_STAT_ERASED;
    const BattStatVerdict verdict = judge_batt_stat(reinterpret_cast<const uint8_t*>(&stat), size);
    if (verdict == BattStatVerdict::UPGRADED) {
        stat.version = BATT_STAT_VERSION;
        state.passport.production_date_fix_pending = true;
    } else if (verdict != BattStatVerdict::ACCEPTED) {
        reset_batt_stat(stat);
    }
    seed_service_state(state, stat);
    const int32_t learned_mah = stat.fcc_mah[0] != 0 ? stat.fcc_mah[0] : NOT_KNOWN;
    state.restore.restore_capacity_mah = erased ? 0 : learned_mah;
}

void save_batt_stat_if_is_timing(const Device& device, ServiceState& state,
                                 const SysfsParams& snapshot, const BattStat& stat) {
    const bool due =
        save_is_due(param_integer(snapshot, PARAM_BOOTUP_SHUTDOWN_PHASE),
                    elapsed_s(state.clock.cycle_boot_time, state.stat_save.last_stat_save_time));
    const bool learned = learning_time_changed(state.stat_save, stat.last_learning_time);
    if (!learned && !due) {
        return;
    }
    if (!write_unit(device, UNIT_BATT_STAT, stat)) {
        log_line(device, "<3>cellwarden: Failed to save battery statistics");
    }
    state.stat_save.last_stat_save_time = state.clock.cycle_boot_time;
}

}  // namespace cellwarden
