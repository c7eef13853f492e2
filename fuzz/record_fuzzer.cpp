// Any stored record, whole, cut, old or forged, and cycles on it: the record in memory is always
// one that is accepted again, a load and a save change nothing of it, and a level stays in 0 to 5
// if the record's levels are such.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "fuzz/life.h"
#include "stats/soft_charge_history.h"
#include "support/phone.h"

namespace cellwarden::fuzz {
namespace {

bool started_sane;

BattStatVerdict verdict_of(const std::string& image) {
    return judge_batt_stat(reinterpret_cast<const uint8_t*>(image.data()),
                           static_cast<uint32_t>(image.size()));
}

// Degradations are divided by a million at the load and multiplied again: one comes back as it was,
// or one millionth less where the quotient was rounded down.
template <typename Values>
bool kept(const Values& before, const Values& after) {
    return std::equal(before.begin(), before.end(), after.begin(),
                      [](uint32_t a, uint32_t b) { return a == b || a - 1 == b; });
}

bool kept(uint32_t before, uint32_t after) {
    return before == after || before - 1 == after;
}

// The tables and the ageing sums survive seeding the working state and copying it back.
void check_round_trip(const ServiceState& state, const BattStat& stat) {
    static BattStat copied;
    copied = stat;
    copy_usage_tables(state, copied);
    copy_soft_charge_history(state, copied);
    promise(copied.online_time == stat.online_time && copied.vt_cet_table == stat.vt_cet_table &&
                copied.ct_charge_table == stat.ct_charge_table &&
                copied.total_cycle_count == stat.total_cycle_count &&
                copied.total_arrhenius == stat.total_arrhenius &&
                copied.arrhenius_per_10days == stat.arrhenius_per_10days,
            "tables and Arrhenius sums survive a restart");
    promise(kept(stat.total_full_stay_cap_degradation, copied.total_full_stay_cap_degradation) &&
                kept(stat.full_stay_capacity_degradation_per_10days,
                     copied.full_stay_capacity_degradation_per_10days) &&
                kept(stat.total_cycle_degradation, copied.total_cycle_degradation) &&
                kept(stat.cycle_degradation_per_10days, copied.cycle_degradation_per_10days),
            "degradations survive a restart");
}

void check_load(const std::string& image, const Life& life) {
    const BattStatVerdict verdict = verdict_of(image);
    static BattStat expected;
    reset_batt_stat(expected);
    if (verdict == BattStatVerdict::ACCEPTED || verdict == BattStatVerdict::UPGRADED) {
        const std::array<uint8_t, 3> version = expected.version;
        memcpy(&expected, image.data(), sizeof expected);
        expected.version = version;
    }
    promise(memcmp(&life.stat, &expected, sizeof expected) == 0,
            "a record is taken as it stands, upgraded or reset");
    check_round_trip(life.state, life.stat);
}

void check(Life& life, After /*what*/) {
    promise(verdict_of(test::bytes_of(life.stat)) == BattStatVerdict::ACCEPTED,
            "the record is accepted again");
    promise(!started_sane || (life.state.soft_charge_mode >= 0 && life.state.soft_charge_mode <= 5),
            "a level stays in 0 to 5");
}

// Two bytes of length, the image, then the steps.
std::string input_of(const std::string& image) {
    return test::bytes_of(static_cast<uint16_t>(image.size())) + image + ordinary_steps();
}

}  // namespace

std::vector<std::string> seeds() {
    static BattStat stat;
    reset_batt_stat(stat);
    const std::string fresh = test::bytes_of(stat);
    stat.version[2] = 3;
    stat.online_time = 107 * PERIOD_S - 30;
    stat.soft_charge_mode = 3;
    stat.latest_filtered_soh = 43'000;
    stat.arrhenius_per_10days.fill(70'000);
    stat.arrhenius_lv.fill(255);
    stat.full_stay_capacity_degradation_per_10days.fill(200'000);
    stat.full_stay_capacity_degradation_aging_lv.fill(255);
    std::fill_n(stat.arrhenius_lv.begin(), 106, uint8_t{2});
    std::fill_n(stat.full_stay_capacity_degradation_aging_lv.begin(), 106, uint8_t{3});
    stat.cycle_degradation_per_10days.fill(90'000);
    stat.total_cycle_count = 3'000'000;
    return {input_of(fresh), input_of(test::bytes_of(stat)), input_of(""), input_of("\xFF"),
            input_of(fresh.substr(0, 100))};
}

}  // namespace cellwarden::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace cellwarden::fuzz;
    Input steps(data, size);
    const std::string image = steps.text(steps.number(2));
    Life& life = new_life(image);
    check_load(image, life);
    started_sane = levels_are_sane(life.stat);
    live(life, steps, check);
    return 0;
}
