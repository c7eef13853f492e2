#include "charge/soh_estimates.h"

#include <gtest/gtest.h>

#include "support/sysfs.h"

namespace cellwarden {
namespace {

using namespace test;

constexpr int32_t DESIGN_UAH = 5'000'000;

// Past the 21 full charges, before which the user's state of health does not move.
ServiceState used_battery() {
    return {.soft_charge_mode = 0, .total_cycle_count = 210'000, .latest_user_soh = 100'000};
}

void update(ServiceState& state) {
    update_soh_estimates(state, snapshot_of({{PARAM_BATTERY_CHARGE_FULL_DESIGN, DESIGN_UAH}}));
}

TEST(RawSoh, IsLearnedOverDesignCapacity) {
    const struct {
        const char* name;
        int32_t learned_mah, design_uah, expected;
    } rows[] = {
        {"80 %", 4000, DESIGN_UAH, 80'000},          {"above 100 % and cut", 5001, 4'999'999, 100'020},
        {"no learned capacity", 0, DESIGN_UAH, 777}, {"no design capacity", 4000, 0, 777},
        {"negative", -4000, 3'000'000, -133'333},    {"the low 32 bits", INT32_MAX, 1, -100'000'000},
    };
    for (const auto& row : rows) {
        ServiceState state;
        state.latest_raw_soh = 777;
        update_soh_estimates(state, snapshot_of({{PARAM_LEARNED_CAPACITY, row.learned_mah},
                                                 {PARAM_BATTERY_CHARGE_FULL_DESIGN, row.design_uah}}));
        EXPECT_EQ(state.latest_raw_soh, row.expected) << row.name;
    }
}

TEST(PredictedSoh, IsWhatTheModelsLeave) {
    const struct {
        const char* name;
        extended full_stay, cycle;
        int32_t expected;
    } rows[] = {
        {"both losses", 3.5, 1.25, 95'250},
        {"the difference is rounded first", extended{4023} / 1000, 0, 95'976},
        {"more than all, cut toward zero", 100, 1.0000009, -1000},
    };
    for (const auto& row : rows) {
        ServiceState state;
        state.soh = 91'234;
        state.total_full_stay_cap_degradation = row.full_stay;
        state.total_cycle_degradation = row.cycle;
        update(state);
        EXPECT_EQ(state.latest_predicted_soh, row.expected) << row.name;
        EXPECT_EQ(state.latest_filtered_soh, 91'234) << row.name;
    }
}

TEST(UserSoh, FallsTowardTheScaledGaugeWithinTheStepOfItsPeriod) {
    const struct {
        const char* name;
        int32_t mode, soh, reference, user, expected;
    } rows[] = {
        {"1 % at most", 0, 95'000, 100'000, 100'000, 99'000},
        {"not below the floor in the same period", 0, 95'000, 100'000, 99'000, 99'000},
        {"the target where it is higher", 0, 98'500, 99'000, 99'000, 98'500},
        {"level 1", 1, 95'000, 93'500, 93'500, 93'480},
        {"level 2", 2, 95'000, 91'015, 91'015, 91'010},
        {"level 5", 5, 95'000, 86'736, 86'736, 86'735},
        {"level 77 as 5", 77, 95'000, 86'736, 86'736, 86'735},
        {"80 % falls by 1 %", 0, 1, 80'000, 80'000, 79'200},
        {"below 80 % by 2 %, cut", 0, 1, 79'999, 79'999, 78'399},
        {"never rises", 0, 95'000, 90'000, 90'000, 90'000},
        {"the gauge knows nothing", 0, 0, 100'000, 99'500, 99'500},
        {"state of health not known", 0, -1, 100'000, 99'500, 99'000},
    };
    for (const auto& row : rows) {
        ServiceState state = used_battery();
        state.soft_charge_mode = row.mode;
        state.soh = row.soh;
        state.prev_bucket_user_soh = row.reference;
        state.latest_user_soh = row.user;
        update(state);
        EXPECT_EQ(state.latest_user_soh, row.expected) << row.name;
    }
}

TEST(UserSoh, StartsAtFullAndMovesOnlyWhereEverythingIsKnown) {
    const struct {
        const char* name;
        uint32_t cycle_count;
        int32_t user;
        double loss;
        int32_t expected, expected_reference;
    } rows[] = {
        {"before 21 full charges", 209'999, 91'000, 0, 100'000, 55'555},
        {"from 21 full charges on", 210'000, 91'000, 0, 90'090, 91'000},
        {"none yet", 210'000, 0, 0, 100'000, 55'555},
        {"nothing predicted", 210'000, 91'000, 100, 91'000, 55'555},
    };
    for (const auto& row : rows) {
        ServiceState state = used_battery();
        state.online_time = 864'000;
        state.total_cycle_count = row.cycle_count;
        state.soh = 50'000;
        state.latest_user_soh = row.user;
        state.prev_bucket_user_soh = 55'555;
        state.total_cycle_degradation = row.loss;
        update(state);
        EXPECT_EQ(state.latest_user_soh, row.expected) << row.name;
        EXPECT_EQ(state.prev_bucket_user_soh, row.expected_reference) << row.name;
    }
}

TEST(UserSoh, MovesItsReferenceWithThePeriodOfOnlineTime) {
    const struct {
        int32_t online_time, expected_index, expected;
    } steps[] = {
        {863'999, -1, 99'000},  {864'000, 0, 98'010},         {1'727'999, 0, 98'010},
        {1'728'000, 1, 97'029}, {300 * 864'000, 299, 96'058}, {300 * 864'000 + 1, 299, 96'058},
    };
    ServiceState state = used_battery();
    state.soh = 50'000;
    for (const auto& step : steps) {
        state.online_time = step.online_time;
        update(state);
        EXPECT_EQ(state.latest_user_soh, step.expected) << step.online_time;
        EXPECT_EQ(state.prev_soh_bucket_index, step.expected_index) << step.online_time;
    }
}

TEST(UserChargeFull, IsTheUsersShareOfTheDesignCapacity) {
    const struct {
        int32_t design_uah, user_soh, expected;
    } rows[] = {{4'999'999, 99'999, 4'999'949}, {INT32_MAX, 100'000, INT32_MAX}};
    for (const auto& row : rows) {
        ServiceState state{.latest_user_soh = row.user_soh};
        update_user_charge_full(state, snapshot_of({{PARAM_BATTERY_CHARGE_FULL_DESIGN, row.design_uah}}));
        EXPECT_EQ(state.user_charge_full, row.expected) << row.design_uah;
    }
}

}  // namespace
}  // namespace cellwarden
