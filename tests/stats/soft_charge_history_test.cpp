// The way of soft charge's working state into the record.
#include "stats/soft_charge_history.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace cellwarden {
namespace {

// Different values in every field and element: each arrives in its own place.
TEST(SoftChargeHistory, EveryFieldArrivesInItsPlace) {
    ServiceState state;
    uint32_t next = 1000;
    const auto fill = [&](auto& values) {
        for (auto& value : values) {
            value = next++;
        }
    };
    const auto fill_millionths = [&](PerPeriod<extended>& values) {
        for (extended& value : values) {
            value = extended(next++) + extended(0.25);
        }
    };
    fill(state.vt_cet_table);
    fill(state.ct_charge_table);
    fill_millionths(state.arrhenius_per_10days);
    fill_millionths(state.full_stay_capacity_degradation_per_10days);
    fill_millionths(state.cycle_degradation_per_10days);
    for (size_t i = 0; i < PERIOD_COUNT; i++) {
        state.arrhenius_lv[i] = static_cast<uint8_t>(i);
        state.full_stay_capacity_degradation_aging_lv[i] = static_cast<uint8_t>(i + 3);
    }
    state.total_cycle_count = 1;
    state.soft_charge_mode = 2;
    state.online_time = 3;
    state.total_arrhenius = 4.75;
    state.soc_full_total_time = -5;
    state.total_full_stay_cap_degradation = 0.015625;
    state.total_cycle_degradation = 6.5;

    BattStat stat{};
    copy_usage_tables(state, stat);
    EXPECT_EQ(stat.vt_cet_table, state.vt_cet_table);
    EXPECT_EQ(stat.ct_charge_table, state.ct_charge_table);
    EXPECT_EQ(stat.total_cycle_count, 1);
    EXPECT_EQ(stat.online_time, 0);

    copy_soft_charge_history(state, stat);
    EXPECT_EQ(stat.soft_charge_mode, 2);
    EXPECT_EQ(stat.online_time, 3);
    EXPECT_EQ(stat.total_arrhenius, 4);
    EXPECT_EQ(stat.soc_full_total_time, static_cast<uint64_t>(-5));
    EXPECT_EQ(stat.total_full_stay_cap_degradation, 15'625);
    EXPECT_EQ(stat.total_cycle_degradation, 6'500'000);
    EXPECT_EQ(stat.arrhenius_lv, state.arrhenius_lv);
    EXPECT_EQ(stat.full_stay_capacity_degradation_aging_lv, state.full_stay_capacity_degradation_aging_lv);
    const uint32_t first = 1000 + 672 + 160;
    for (uint32_t i = 0; i < PERIOD_COUNT; i++) {
        EXPECT_EQ(stat.arrhenius_per_10days[i], first + i);
        EXPECT_EQ(stat.full_stay_capacity_degradation_per_10days[i], (first + 252 + i) * 1'000'000 + 250'000);
        EXPECT_EQ(stat.cycle_degradation_per_10days[i], (first + 504 + i) * 1'000'000 + 250'000);
    }
}

TEST(SoftChargeHistory, MillionthsOfAPerCent) {
    const struct {
        const char* name;
        extended percent;
        uint32_t expected;
    } rows[] = {
        {"fraction", 0.015625, 15'625},
        {"cut, not rounded", 0.0000019990234375, 1},
        {"negative", -0.5, 0},
        {"largest", extended(4'294'967'295) / 1'000'000 + extended(0.0000001), UINT32_MAX},
        {"one less", extended(4'294'967'294) / 1'000'000 + extended(0.0000001), UINT32_MAX - 1},
        {"saturates", 4294.967296, UINT32_MAX},
        {"far beyond", std::numeric_limits<double>::infinity(), UINT32_MAX},
        {"no number", std::numeric_limits<double>::quiet_NaN(), 0},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(to_micropercent(row.percent), row.expected) << row.name;
    }
}

TEST(SoftChargeHistory, LevelsAreStampedOnce) {
    BattStat stat{};
    stat.soft_charge_mode = 7;
    const auto reach = [&](int32_t level, int32_t online_time) {
        copy_soft_charge_history({.soft_charge_mode = -1, .online_time = online_time, .soft_charge1_level = level},
                                 stat);
    };
    reach(0, 10);
    reach(2, 20);
    reach(2, 30);
    reach(5, -40);
    reach(1, 50);
    reach(5, 60);
    const auto negative = static_cast<uint64_t>(-40);
    EXPECT_EQ(stat.soft_charge1_onlinetime, (std::array<uint64_t, 5>{50, 20, 0, 0, negative}));
    EXPECT_EQ(stat.soft_charge_mode, 7) << "a mode not known leaves what is stored";
}

TEST(SoftChargeHistory, MilestonesOfTheStateOfHealth) {
    const struct {
        int32_t soh;
        int reached;
    } rows[] = {
        {100'000, 0}, {95'000, 0}, {94'999, 1}, {90'000, 1}, {89'999, 2}, {85'000, 2}, {84'999, 3},
        {80'000, 3},  {79'999, 4}, {70'000, 4}, {69'999, 5}, {60'000, 5}, {59'999, 6}, {50'000, 6},
        {49'999, 7},  {40'000, 7}, {39'999, 8}, {20'000, 8}, {19'999, 9}, {0, 9},      {-1, 0},
    };
    for (const auto& row : rows) {
        BattStat stat{};
        copy_soft_charge_history({.cycle_wall_time = 10'000'000'000, .soh = row.soh}, stat);
        copy_soft_charge_history({.cycle_wall_time = 10'000'000'001, .soh = row.soh}, stat);
        copy_soft_charge_history({.cycle_wall_time = 10'000'000'002, .soh = 100'000}, stat);
        std::array<uint64_t, 9> expected{};
        std::fill_n(expected.begin(), row.reached, 10'000'000'000);
        EXPECT_EQ(stat.first_soh_time, expected) << row.soh;
    }
}

TEST(SoftChargeHistory, StatesOfHealthByPeriod) {
    const struct {
        const char* name;
        int32_t online_time;
        int32_t period;  // -1: none
    } rows[] = {
        {"first second", 0, 0},
        {"end of a period", 863'999, 0},
        {"start of a period", 864'000, 1},
        {"last second kept", 217'727'999, 251},
        {"beyond", 217'728'000, -1},
        {"largest", INT32_MAX, -1},
        {"negative", -1, -1},
        {"a period before", -864'000, -1},
    };
    for (const auto& row : rows) {
        BattStat stat{};
        copy_soft_charge_history({.online_time = row.online_time,
                                  .latest_raw_soh = 20'001,
                                  .latest_filtered_soh = 30'001,
                                  .latest_predicted_soh = -3,
                                  .latest_user_soh = 131'075},
                                 stat);
        const struct {
            uint16_t latest;
            const PerPeriod<uint16_t>& periods;
            uint16_t expected;
        } histories[] = {
            {stat.latest_raw_soh, stat.raw_soh_per_10days, 10'000},
            {stat.latest_filtered_soh, stat.filtered_soh_per_10days, 15'000},
            {stat.latest_predicted_soh, stat.predicted_soh_per_10days, 65'535},
            {stat.latest_user_soh, stat.user_soh_per_10days, 1},
        };
        for (const auto& history : histories) {
            PerPeriod<uint16_t> expected{};
            if (row.period >= 0) {
                expected[static_cast<size_t>(row.period)] = history.expected;
            }
            EXPECT_EQ(history.latest, history.expected) << row.name;
            EXPECT_EQ(history.periods, expected) << row.name;
        }
        const BattStat before = stat;
        copy_soft_charge_history({.online_time = row.online_time,
                                  .latest_raw_soh = -1,
                                  .latest_filtered_soh = -1,
                                  .latest_predicted_soh = -1,
                                  .latest_user_soh = -1},
                                 stat);
        EXPECT_EQ(memcmp(&stat, &before, sizeof stat), 0) << row.name << ", then none known";
    }
}

}  // namespace
}  // namespace cellwarden
