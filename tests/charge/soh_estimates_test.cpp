#include "charge/soh_estimates.h"

#include <gtest/gtest.h>

#include <tuple>

#include "support/sysfs.h"

namespace cellwarden {
namespace {

using namespace test;

TEST(RawSoh, IsLearnedOverDesignCapacity) {
    for (const auto& [learned_mah, design_uah, expected] :
         {std::tuple(5001, 4'999'999, 100'020), {0, 5'000'000, 777}, {4000, 0, 777}, {INT32_MAX, 1, -100'000'000}}) {
        ServiceState state{.latest_raw_soh = 777};
        update_soh_estimates(state, snapshot_of({{PARAM_LEARNED_CAPACITY, learned_mah},
                                                 {PARAM_BATTERY_CHARGE_FULL_DESIGN, design_uah}}));
        EXPECT_EQ(state.latest_raw_soh, expected) << learned_mah << " of " << design_uah;
    }
}

TEST(PredictedSoh, IsWhatTheModelsLeave) {
    const std::tuple<const char*, extended, extended, int32_t> rows[] = {
        {"both losses", 3.5, 1.25, 95'250},
        {"the difference is rounded first", extended{4023} / 1000, 0, 95'976},
        {"more than all, cut toward zero", 100, 1.0000009, -1000},
    };
    for (const auto& [name, full_stay, cycle, expected] : rows) {
        ServiceState state{.total_full_stay_cap_degradation = full_stay, .total_cycle_degradation = cycle};
        update_soh_estimates(state, snapshot_of({}));
        EXPECT_EQ(state.latest_predicted_soh, expected) << name;
    }
}

// A call within the period 0.
TEST(UserSoh, FallsTowardTheScaledGaugeWithinTheStepOfItsPeriod) {
    const struct {
        const char* name;
        int32_t mode, soh, reference, user, expected;
        uint32_t cycle_count = 210'000;  // 21 full charges
        extended loss = 0;
    } rows[] = {
        {"1 % at most", 0, 95'000, 100'000, 100'000, 99'000},
        {"the target where it is higher", 0, 98'500, 99'000, 99'000, 98'500},
        {"level 1", 1, 95'000, 93'500, 93'500, 93'480},
        {"level 2", 2, 95'000, 91'015, 91'015, 91'010},
        {"level 3", 3, 95'000, 88'830, 88'830, 88'825},
        {"level 4", 4, 95'000, 88'165, 88'165, 88'160},
        {"level 5", 5, 95'000, 86'736, 86'736, 86'735},
        {"level 77 as 5", 77, 95'000, 86'736, 86'736, 86'735},
        {"80 % falls by 1 %", 0, 1, 80'000, 80'000, 79'200},
        {"below 80 % by 2 %, cut", 0, 1, 79'999, 79'999, 78'399},
        {"never rises", 0, 95'000, 90'000, 90'000, 90'000},
        {"the gauge knows nothing", 0, 0, 100'000, 99'500, 99'500},
        {"state of health not known", 0, -1, 100'000, 99'500, 99'000},
        {"before 21 full charges", 0, 50'000, 91'000, 91'000, 100'000, 209'999},
        {"none yet", 0, 50'000, 91'000, 0, 100'000},
        {"nothing predicted", 0, 50'000, 91'000, 91'000, 91'000, 210'000, 100},
    };
    for (const auto& row : rows) {
        ServiceState state{.soft_charge_mode = row.mode,
                           .soh = row.soh,
                           .total_cycle_count = row.cycle_count,
                           .total_cycle_degradation = row.loss,
                           .latest_user_soh = row.user,
                           .prev_bucket_user_soh = row.reference};
        update_soh_estimates(state, snapshot_of({}));
        EXPECT_EQ(state.latest_user_soh, row.expected) << row.name;
    }
}

TEST(UserSoh, MovesItsReferenceWithThePeriodOfOnlineTime) {
    const std::tuple<int32_t, int32_t, int32_t> steps[] = {
        {863'999, -1, 99'000}, {864'000, 0, 98'010}, {1'727'999, 0, 98'010}, {300 * 864'000, 299, 97'029}};
    ServiceState state{.soh = 50'000, .total_cycle_count = 210'000, .latest_user_soh = 100'000};
    for (const auto& [online_time, expected_index, expected] : steps) {
        state.online_time = online_time;
        update_soh_estimates(state, snapshot_of({}));
        EXPECT_EQ(state.latest_user_soh, expected) << online_time;
        EXPECT_EQ(state.prev_soh_bucket_index, expected_index) << online_time;
    }
}

TEST(UserChargeFull, IsTheUsersShareOfTheDesignCapacity) {
    ServiceState state{.latest_user_soh = 99'999};
    update_user_charge_full(state, snapshot_of({{PARAM_BATTERY_CHARGE_FULL_DESIGN, 4'999'999}}));
    EXPECT_EQ(state.user_charge_full, 4'999'949);
}

}  // namespace
}  // namespace cellwarden
