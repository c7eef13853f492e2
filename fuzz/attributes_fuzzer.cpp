// Any attribute texts, from a new battery on: no total falls, the level stays in 0 to 5, and what
// is stored is loaded again as it stands.
#include <cstring>
#include <iterator>

#include "fuzz/life.h"
#include "platform/unit_store.h"
#include "support/phone.h"

namespace cellwarden::fuzz {
namespace {

template <typename T>
void append(std::vector<uint64_t>& totals, const T& value) {
    if constexpr (std::is_integral_v<T>) {
        totals.push_back(value);
    } else {
        totals.insert(totals.end(), std::begin(value), std::end(value));
    }
}

// Every counter and sum that only ever grows.
std::vector<uint64_t> totals_of(const BattStat& stat) {
    std::vector<uint64_t> totals;
    const auto take = [&totals](const auto&... values) { (append(totals, values), ...); };
    take(stat.online_time, stat.total_cycle_count, stat.vt_cet_table, stat.ct_charge_table,
         stat.soc0_shutdown_cnt, stat.off_charge_total_time, stat.on_charge_total_time,
         stat.soc_full_total_time, stat.smart_charge_mode_total_time, stat.jeita_warm_total_time,
         stat.thermal_range_stay_time, stat.over_08c_total_time, stat.over_08c_charge_count,
         stat.over_06c_total_time, stat.over_06c_charge_count, stat.total_discharge_time,
         stat.max_discharge_current, stat.total_arrhenius, stat.arrhenius_per_10days,
         stat.total_full_stay_cap_degradation, stat.full_stay_capacity_degradation_per_10days,
         stat.total_cycle_degradation, stat.cycle_degradation_per_10days);
    for (const DevAttachEntry& entry : stat.dev_attach) {
        take(entry.dev_attach_count, entry.dev_attach_total_time, entry.dev_charge_count);
    }
    return totals;
}

std::vector<uint64_t> previous_totals;

void check(Life& life, After what) {
    const std::vector<uint64_t> totals = totals_of(life.stat);
    if (what == After::RESTART) {
        // What was not yet stored is gone; all else is as it was stored.
        const std::string& stored = test::phone.units[UNIT_BATT_STAT];
        promise(stored.empty() || stored == test::bytes_of(life.stat),
                "the stored record is loaded as it stands");
    } else {
        for (size_t i = 0; i < totals.size(); i++) {
            promise(totals[i] >= previous_totals[i], "no total falls");
        }
    }
    previous_totals = totals;
    promise(life.state.soft_charge_mode >= 0 && life.state.soft_charge_mode <= 5 &&
                levels_are_sane(life.stat),
            "levels stay in 0 to 5");
}

}  // namespace

std::vector<std::string> seeds() {
    return {ordinary_steps()};
}

}  // namespace cellwarden::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace cellwarden::fuzz;
    Life& life = new_life("");
    previous_totals = totals_of(life.stat);
    Input steps(data, size);
    live(life, steps, check);
    return 0;
}
