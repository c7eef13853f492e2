// Copies the working state into a record whose bytes are all different.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "stats/batt_stat_update.h"
#include "support/record.h"

namespace cellwarden {
namespace {

using namespace test;

// Fields that every cycle copies even if the online time is outside all periods.
const std::string COPIED =
    " vt_cet_table ct_charge_table total_cycle_count soft_charge_mode online_time total_arrhenius"
    " arrhenius_per_10days arrhenius_lv soc_full_total_time total_full_stay_cap_degradation"
    " full_stay_capacity_degradation_per_10days full_stay_capacity_degradation_aging_lv"
    " total_cycle_degradation cycle_degradation_per_10days latest_user_soh latest_raw_soh"
    " latest_filtered_soh latest_predicted_soh ";

TEST(RecordCopy, BringsBackWhatTheLoadTook) {
    std::mt19937 random(1);
    BattStat stored{};
    for (const RecordElement& element : record_elements()) {
        set_element(stored, element.name, static_cast<int64_t>(random()));
    }
    stored.online_time = 0x8000'0000;
    stored.soc_full_total_time = UINT64_MAX - 5;
    // Whole percentages are restored exactly; other values may lose a millionth.
    stored.total_full_stay_cap_degradation = 4'294'000'000;
    stored.total_cycle_degradation = 7'000'000;
    for (size_t i = 0; i < PERIOD_COUNT; i++) {
        stored.full_stay_capacity_degradation_per_10days[i] = static_cast<uint32_t>(i + 1) * 1'000'000;
        stored.cycle_degradation_per_10days[i] = static_cast<uint32_t>(i + 4000) * 1'000'000;
    }
    ServiceState state;
    seed_service_state(state, stored);
    EXPECT_EQ(state.usage.soh, 2 * stored.latest_filtered_soh);
    EXPECT_EQ(state.levels.soft_charge_override, stored.soft_charge_override);
    BattStat poisoned;
    memset(&poisoned, 0xA5, sizeof poisoned);
    BattStat copy = poisoned;
    copy_usage_tables(state.usage, copy);
    copy_soft_charge_history(state, copy);
    for (const RecordElement& element : record_elements()) {
        const std::string field = element.name.substr(0, element.name.find('['));
        const bool copied = COPIED.find(" " + field + " ") != COPIED.npos;
        EXPECT_EQ(element_value(copy, element), element_value(copied ? stored : poisoned, element)) << element.name;
    }
}

}  // namespace
}  // namespace cellwarden
