// The way of soft charge's working state into the record.
#include "stats/soft_charge_history.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace cellwarden {
namespace {

TEST(SoftChargeHistory, MillionthsOfAPerCent) {
    const struct {
        const char* name;
        extended percent;
        uint32_t expected;
    } rows[] = {
        {"cut, not rounded", 0.0000019990234375, 1},
        {"negative", -0.5, 0},
        {"fraction", 0.015625, 15'625},
        {"largest", extended(4'294'967'295) / 1'000'000 + extended(0.0000001), UINT32_MAX},
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
        {"end of a period", 863'999, 0},
        {"start of a period", 864'000, 1},
        {"last second kept", 217'727'999, 251},
        {"beyond", 217'728'000, -1},
        {"negative", -1, -1},
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
