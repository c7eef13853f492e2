#include "stats/batt_stat_store.h"

#include <algorithm>

#include "platform/log.h"
#include "platform/unit_store.h"
#include "state/elapsed.h"
#include "state/stored_units.h"
#include "state/wrapping.h"

namespace cellwarden {
namespace {

int32_t leading_non_zero(const std::array<uint64_t, 5>& times) {
    const auto* const end = std::find(times.begin(), times.end(), 0U);
    return static_cast<int32_t>(end - times.begin());
}

void seed_user_soh_reference(ServiceState& state, const BattStat& stat) {
    if (state.usage.online_time < PERIOD_S) {
        return;
    }
    const int32_t previous_period = state.usage.online_time / PERIOD_S - 1;
    if (previous_period < PERIOD_COUNT) {
        state.health.prev_soh_bucket_index = previous_period;
        state.health.prev_bucket_user_soh =
            from_half_units(stat.user_soh_per_10days[static_cast<size_t>(previous_period)]);
    }
}

// Whether a capacity-learning event has come since the one that was seen first.
bool learning_time_changed(StatSaveMemory& memory, uint64_t last_learning_time) {
    const uint64_t remembered = memory.remembered_learning_time;
    memory.remembered_learning_time = last_learning_time;
    return remembered != 0 && remembered != last_learning_time;
}

}  // namespace

void seed_service_state(ServiceState& state, const BattStat& stat) {
    state.levels.soft_charge_override = stat.soft_charge_override;
    state.levels.soft_charge_mode = low_i32(stat.soft_charge_mode);
    state.usage.online_time = low_i32(stat.online_time);
    state.usage.soh = from_half_units(stat.latest_filtered_soh);
    state.usage.vt_cet_table = stat.vt_cet_table;
    state.usage.ct_charge_table = stat.ct_charge_table;
    state.usage.total_cycle_count = stat.total_cycle_count;
    state.levels.soft_charge1_level = leading_non_zero(stat.soft_charge1_onlinetime);
    state.ageing.total_arrhenius = static_cast<extended>(stat.total_arrhenius);
    state.levels.arrhenius_lv = stat.arrhenius_lv;
    state.ageing.soc_full_total_time = low_i32(static_cast<int64_t>(stat.soc_full_total_time));
    state.ageing.total_full_stay_cap_degradation =
        from_micropercent(stat.total_full_stay_cap_degradation);
    state.levels.full_stay_capacity_degradation_aging_lv =
        stat.full_stay_capacity_degradation_aging_lv;
    state.ageing.total_cycle_degradation = from_micropercent(stat.total_cycle_degradation);
    for (size_t i = 0; i < PERIOD_COUNT; i++) {
        state.ageing.arrhenius_per_10days[i] = static_cast<extended>(stat.arrhenius_per_10days[i]);
        state.ageing.full_stay_capacity_degradation_per_10days[i] =
            from_micropercent(stat.full_stay_capacity_degradation_per_10days[i]);
        state.ageing.cycle_degradation_per_10days[i] =
            from_micropercent(stat.cycle_degradation_per_10days[i]);
    }
    state.ageing.changed_periods = ALL_PERIODS;
    state.health.latest_raw_soh = from_half_units(stat.latest_raw_soh);
    state.health.latest_filtered_soh = from_half_units(stat.latest_filtered_soh);
    state.health.latest_predicted_soh = from_half_units(stat.latest_predicted_soh);
    state.health.latest_user_soh = from_half_units(stat.latest_user_soh);
    seed_user_soh_reference(state, stat);
}

void init_batt_stat(const Device& device, ServiceState& state, BattStat& stat) {
    uint32_t size = sizeof stat;
    const bool read = tessera_read_unit(device, UNIT_BATT_STAT, &stat, &size) == 0 && size != 0;
    const bool erased = read && stat.initialize == BATT_STAT_ERASED;
    const BattStatVerdict verdict =
        read ? judge_batt_stat(reinterpret_cast<const uint8_t*>(&stat), size)
             : BattStatVerdict::TOO_SHORT;
    if (verdict == BattStatVerdict::UPGRADED) {
        stat.version = BATT_STAT_VERSION;
        state.passport.production_date_fix_pending = true;
    } else if (verdict != BattStatVerdict::ACCEPTED) {
        reset_batt_stat(stat);
    }
    seed_service_state(state, stat);
    if (erased) {
        state.restore.restore_capacity_mah = 0;
    } else {
        state.restore.restore_capacity_mah = stat.fcc_mah[0] != 0 ? stat.fcc_mah[0] : NOT_KNOWN;
    }
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
    if (tessera_write_unit(device, UNIT_BATT_STAT, &stat, sizeof stat) != 0) {
        log_line(device, "<3>cellwarden: Failed to save battery statistics");
    }
    state.stat_save.last_stat_save_time = state.clock.cycle_boot_time;
}

}  // namespace cellwarden
