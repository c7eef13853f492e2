#include "charge/soft_charge.h"

#include <gtest/gtest.h>

#include <tuple>

#include "support/phone.h"

namespace cellwarden {
namespace {

using namespace test;

SysfsParams capacities(int32_t learned_mah, int32_t design_uah) {
    return snapshot_of({{PARAM_LEARNED_CAPACITY, learned_mah}, {PARAM_BATTERY_CHARGE_FULL_DESIGN, design_uah}});
}

TEST(RawSoh, IsLearnedOverDesignCapacity) {
    const std::tuple<const char*, int32_t, int32_t, int32_t> rows[] = {
        {"80 %", 4000, 5'000'000, 80'000},           {"truncated", 1, 3'000'000, 33},
        {"negative, truncated", -1, 3'000'000, -33}, {"no learned capacity", 0, 5'000'000, 77},
        {"no design capacity", 4000, 0, 77},         {"above 100 %", 5250, 5'000'000, 105'000},
    };
    for (const auto& [name, learned_mah, design_uah, expected] : rows) {
        ServiceState state{.health = {.latest_raw_soh = 77}};
        update_soh_estimates(state, capacities(learned_mah, design_uah), POLICY);
        EXPECT_EQ(state.health.latest_raw_soh, expected) << name;
    }
}

TEST(PredictedSoh, IsFullHealthLessTheModelledLosses) {
    const std::tuple<const char*, extended, extended, int32_t> rows[] = {
        {"no loss", 0, 0, 100'000},
        {"both losses", 3.5, 1.25, 95'250},
        {"truncated", 0.00048828125, 0, 99'999},
        {"truncated toward zero", 100, 0.00048828125, 0},
        {"more than 100 % lost", 100, 0.001953125, -1},
        {"loss beyond 32 bits", 1e9, 0, INT32_MIN},
    };
    for (const auto& [name, full_stay, cycle, expected] : rows) {
        ServiceState state{.usage = {.soh = 12'345}};
        state.ageing.total_full_stay_cap_degradation = full_stay;
        state.ageing.total_cycle_degradation = cycle;
        update_soh_estimates(state, snapshot_of({}), POLICY);
        EXPECT_EQ(state.health.latest_predicted_soh, expected) << name;
        EXPECT_EQ(state.health.latest_filtered_soh, 12'345) << name;
    }
}

TEST(UserSoh, FallsByAStepPerPeriodTowardItsTarget) {
    struct Row {
        const char* name;
        int32_t soh, user;                // user: before the call
        int32_t reference, expected;      // reference: at the start of the period
        int32_t level = 0;                // level in the previous cycle
        int32_t online_time = 1'727'999;  // in period 1
        int32_t reference_period = 0;     // the period before
        int32_t expected_reference = 0;   // 0: unchanged
        uint32_t total_cycle_count = 210'000;
        extended lost = 0;
    };
    constexpr int32_t OLD = 10'000;  // a state of health far below every step
    const Row rows[] = {
        {"just below 21 full charges", OLD, 90'000, 90'000, 100'000, 0, 0, -1, 0, 209'999},
        {"21 full charges", OLD, 90'000, 90'000, 89'100},
        {"a count above 2^31", OLD, 90'000, 90'000, 89'100, 0, 1'727'999, 0, 0, UINT32_MAX},
        {"no user's state of health yet", OLD, 0, 90'000, 100'000},
        {"no gauge's state of health", 0, 90'000, 91'000, 90'000, 0, 0, 5},
        {"no prediction", OLD, 90'000, 91'000, 90'000, 0, 0, 5, 0, 210'000, 100},
        {"one step", 95'000, 100'000, 100'000, 99'000},
        {"no second step in the same period", 95'000, 99'000, 100'000, 99'000},
        {"another step in the next period", 95'000, 99'000, 100'000, 98'010, 0, 1'728'000, 0, 99'000},
        {"last second of the first period", OLD, 99'000, 100'000, 99'000, 0, 863'999, -1},
        {"end of the first period", OLD, 99'000, 100'000, 98'010, 0, 864'000, -1, 99'000},
        {"the target is nearer than a step", 99'500, 100'000, 100'000, 99'500},
        {"it never rises", 100'000, 95'000, 95'000, 95'000},
        {"step at 80 %", OLD, 80'000, 80'000, 79'200},
        {"step below 80 %", OLD, 79'999, 79'999, 78'399},
        {"the reference selects the step, not the current value", OLD, 79'500, 80'000, 79'200},
        {"level 1", 100'000, 100'000, 80'000, 98'400, 1},
        {"level 2", 95'000, 100'000, 80'000, 91'010, 2},
        {"level 2, truncated", 95'001, 100'000, 80'000, 91'010, 2},
        {"level 3", 100'000, 100'000, 80'000, 93'500, 3},
        {"level 4", 100'000, 100'000, 80'000, 92'800, 4},
        {"level 5", 100'000, 100'000, 80'000, 91'300, 5},
        {"above level 5", 100'000, 100'000, 80'000, 91'300, 6},
        {"below level 0", 99'999, 100'000, 80'000, 99'999, -1},
    };
    for (const Row& row : rows) {
        ServiceState state{
            .usage = {.online_time = row.online_time, .soh = row.soh, .total_cycle_count = row.total_cycle_count},
            .levels = {.soft_charge_mode = row.level},
            .health = {.latest_user_soh = row.user,
                       .prev_soh_bucket_index = row.reference_period,
                       .prev_bucket_user_soh = row.reference}};
        state.ageing.total_cycle_degradation = row.lost;
        update_soh_estimates(state, snapshot_of({}), POLICY);
        EXPECT_EQ(state.health.latest_user_soh, row.expected) << row.name;
        const bool moved = row.expected_reference != 0;
        EXPECT_EQ(state.health.prev_bucket_user_soh, moved ? row.expected_reference : row.reference) << row.name;
        EXPECT_EQ(state.health.prev_soh_bucket_index, moved ? row.online_time / PERIOD_S - 1 : row.reference_period)
            << row.name;
    }
}

TEST(UserChargeFull, IsDesignCapacityTimesTheUsersSoh) {
    const std::tuple<const char*, int32_t, int32_t, int32_t> rows[] = {
        {"95 %", 5'000'000, 95'000, 4'750'000},
        {"truncated", 4'999'999, 99'999, 4'999'949},
        {"product beyond 32 bits", INT32_MAX, 100'000, INT32_MAX},
        {"no design capacity", 0, 95'000, 0},
    };
    for (const auto& [name, design_uah, soh, expected] : rows) {
        ServiceState state{.health = {.latest_user_soh = soh}};
        update_user_charge_full(state.health, capacities(0, design_uah));
        EXPECT_EQ(state.health.user_charge_full, expected) << name;
    }
}

}  // namespace
}  // namespace cellwarden
