// The way of soft charge's working state into the record.
#include "stats/soft_charge_history.h"

#include <gtest/gtest.h>

#include <limits>
#include <tuple>

namespace cellwarden {
namespace {

TEST(SoftChargeHistory, MillionthsOfAPerCent) {
    const std::tuple<const char*, extended, uint32_t> rows[] = {
        {"cut, not rounded", 0.0000019990234375, 1},
        {"negative", -0.5, 0},
        {"largest", extended(4'294'967'295) / 1'000'000 + extended(0.0000001), UINT32_MAX},
        {"saturates", 4294.967296, UINT32_MAX},
        {"no number", std::numeric_limits<double>::quiet_NaN(), 0},
    };
    for (const auto& [name, percent, expected] : rows) {
        EXPECT_EQ(to_micropercent(percent), expected) << name;
    }
}

TEST(SoftChargeHistory, LevelsAreStampedOnce) {
    BattStat stat{};
    stat.soft_charge_mode = 7;
    for (const auto& [level, online_time] : {std::pair(0, 10), {2, 20}, {2, 30}, {5, -40}, {1, 50}, {5, 60}}) {
        copy_soft_charge_history({.soft_charge_mode = -1, .online_time = online_time, .soft_charge1_level = level},
                                 stat);
    }
    EXPECT_EQ(stat.soft_charge1_onlinetime, (std::array<uint64_t, 5>{50, 20, 0, 0, static_cast<uint64_t>(-40)}));
    EXPECT_EQ(stat.soft_charge_mode, 7) << "a mode not known leaves what is stored";
}

TEST(SoftChargeHistory, MilestonesOfTheStateOfHealth) {
    std::array<uint64_t, 9> expected{};
    BattStat stat{};
    int64_t wall_time = 10'000'000'000;
    const auto cycle = [&](int32_t soh) {
        copy_soft_charge_history({.cycle_wall_time = wall_time++, .soh = soh}, stat);
        EXPECT_EQ(stat.first_soh_time, expected) << soh;
    };
    cycle(-1);
    size_t reached = 0;
    for (const int32_t border : {95'000, 90'000, 85'000, 80'000, 70'000, 60'000, 50'000, 40'000, 20'000}) {
        cycle(border);
        expected[reached++] = static_cast<uint64_t>(wall_time);
        cycle(border - 1);
        cycle(100'000);
    }
}

TEST(SoftChargeHistory, StatesOfHealthByPeriod) {
    const std::tuple<const char*, int32_t, int32_t> rows[] = {
        {"end of a period", 863'999, 0},
        {"start of a period", 864'000, 1},
        {"last second kept", 217'727'999, 251},
        {"beyond", 217'728'000, -1},
        {"negative", -1, -1},
    };
    for (const auto& [name, online_time, period] : rows) {
        BattStat stat{};
        copy_soft_charge_history({.online_time = online_time, .latest_raw_soh = 20'001, .latest_user_soh = 131'075},
                                 stat);
        PerPeriod<uint16_t> expected_raw{}, expected_user{};
        if (period >= 0) {
            expected_raw[static_cast<size_t>(period)] = 10'000;
            expected_user[static_cast<size_t>(period)] = 1;  // 16 bits are kept
        }
        EXPECT_EQ(stat.latest_raw_soh, 10'000) << name;
        EXPECT_EQ(stat.latest_user_soh, 1) << name;
        EXPECT_EQ(stat.raw_soh_per_10days, expected_raw) << name;
        EXPECT_EQ(stat.user_soh_per_10days, expected_user) << name;
    }
}

}  // namespace
}  // namespace cellwarden
