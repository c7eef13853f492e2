#include "charge/soft_charge_levels.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/phone.h"

namespace cellwarden {
namespace {

using namespace test;

constexpr uint8_t NOT_DECIDED = 0xFF;

TEST(CycleCountLevel, RisesAboveEachBorder) {
    const struct {
        uint32_t count;
        int32_t expected;
    } rows[] = {
        {0, 0},         {1'000'000, 0},  {1'000'001, 1},  {2'000'000, 1},  {2'000'001, 2},  {4'000'000, 2},
        {4'000'001, 3}, {11'000'000, 3}, {11'000'001, 4}, {13'000'000, 4}, {13'000'001, 5}, {UINT32_MAX, 5},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(soft_charge1_level_of(row.count), row.expected) << row.count;
    }
}

// Levels of the periods before the one of `online_time`, the latest first; all others undecided.
PerPeriod<uint8_t> levels_before(int32_t online_time, const std::vector<uint8_t>& latest_first) {
    PerPeriod<uint8_t> levels;
    levels.fill(NOT_DECIDED);
    int32_t slot = std::min(online_time / 864'000, 251);
    for (const uint8_t level : latest_first) {
        levels[static_cast<size_t>(--slot)] = level;
    }
    return levels;
}

// The slot that a level was stored in, checked to be the only change.
void expect_stored(const std::string& name, const PerPeriod<uint8_t>& before, const PerPeriod<uint8_t>& after,
                   int32_t slot, int32_t level) {
    for (int32_t i = 0; i < PERIOD_COUNT; i++) {
        const auto at = static_cast<size_t>(i);
        EXPECT_EQ(after[at], i == slot ? level : before[at]) << name << ", slot " << i;
    }
}

constexpr int32_t PERIOD_2 = 2 * 864'000;

TEST(ArrheniusLevel, FollowsTheExpectedSum) {
    const struct {
        const char* name;
        int32_t online_time;
        std::vector<uint8_t> latest_first;
        double sum;  // of the period 0, the others are 0
        int32_t expected;
    } rows[] = {
        {"raised from the upper border", PERIOD_2, {2}, 6'591'601, 3},
        {"held up to it", PERIOD_2, {2}, 6'591'600.99, 2},
        {"held from the lower border", PERIOD_2, {2}, 6'555'600, 2},
        {"lowered below it", PERIOD_2, {2}, 6'555'599.99, 1},
        {"not below 0", PERIOD_2, {0}, 0, 0},
        {"from 4 to 5", PERIOD_2, {4}, 6'591'601, 5},
        {"over undecided periods", 5 * 864'000, {NOT_DECIDED, NOT_DECIDED, 3, 1}, 6'591'601, 4},
        {"0 where none is decided", PERIOD_2, {}, 6'591'601, 1},
        {"corrupt level raised", PERIOD_2, {200}, 6'591'601, 5},
        {"last judged second", 93'311'999, {3}, 6'591'601, 4},
        {"frozen", 93'312'000, {3}, 6'591'601, 3},
        {"frozen to period 107, not a later one", 110 * 864'000, {5, 5, 2}, 6'591'601, 2},
        {"too early", 863'743, {}, 1e9, 0},
    };
    for (const auto& row : rows) {
        ServiceState state;
        state.online_time = row.online_time;
        state.arrhenius_per_10days[0] = row.sum;
        const PerPeriod<uint8_t> before = levels_before(row.online_time, row.latest_first);
        state.arrhenius_lv = before;
        EXPECT_EQ(decide_arrhenius_level(state), row.expected) << row.name;
        expect_stored(row.name, before, state.arrhenius_lv, row.online_time / 864'000, row.expected);
    }
}

TEST(ArrheniusLevel, LogsTheDaysAndTheProjection) {
    const struct {
        const char* name;
        int32_t online_time;
        std::vector<std::string> expected;
    } rows[] = {
        {"one second early", 863'743, {}},
        {"108 times the total", 863'744, {"0 days", "756"}},
        {"still the total", 864'255, {"10 days", "756"}},
        {"108 times the first period", 864'256, {"10 days", "10800"}},
        {"the latest whole period goes on", 3 * 864'000, {"30 days", "32100"}},
        {"the last projection", 93'311'999, {"1070 days", "600"}},
        {"frozen", 93'312'000, {}},
    };
    for (const auto& row : rows) {
        phone.log.clear();
        ServiceState state;
        state.online_time = row.online_time;
        state.total_arrhenius = 7.99;
        state.arrhenius_lv.fill(NOT_DECIDED);
        // Fractions are cut before the sum. The period that runs does not count.
        state.arrhenius_per_10days = {100.9, 200.99, 300.5, 999'999};
        if (row.online_time == 93'311'999) {
            state.arrhenius_per_10days[3] = 0;
        }
        (void)decide_arrhenius_level(state);
        std::vector<std::string> expected;
        if (!row.expected.empty()) {
            expected = {"<3>cellwarden: Phone online time has reached " + row.expected[0] + "\n",
                        "<3>cellwarden: Expected arrhenius time at end of battery life is " + row.expected[1] + "\n"};
        }
        EXPECT_EQ(phone.log, expected) << row.name;
    }
}

TEST(PeriodLevel, IsDecidedOncePerPeriod) {
    const struct {
        const char* name;
        int32_t online_time;
        int32_t slot;
        uint8_t stored;
    } rows[] = {
        {"period 0", 863'999, 0, 3},
        {"a corrupt level", PERIOD_2, 2, 200},
        {"frozen", 93'312'000, 108, 1},
        {"beyond the last slot", INT32_MAX, 251, 2},
    };
    for (const auto& row : rows) {
        ServiceState state;
        state.online_time = row.online_time;
        state.soh = 82'000;
        for (PerPeriod<uint8_t>* levels : {&state.arrhenius_lv, &state.full_stay_capacity_degradation_aging_lv}) {
            levels->fill(NOT_DECIDED);
            (*levels)[static_cast<size_t>(row.slot)] = row.stored;
        }
        EXPECT_EQ(decide_arrhenius_level(state), row.stored) << row.name;
        EXPECT_EQ(decide_full_stay_level(state), row.stored) << row.name;
        EXPECT_TRUE(phone.log.empty()) << row.name;
    }
}

TEST(FullStayLevel, FollowsTheMeasuredAndTheExpectedCapacity) {
    constexpr int32_t PERIOD_3 = 3 * 864'000;
    constexpr int32_t PERIOD_107 = 107 * 864'000;
    const struct {
        const char* name;
        int32_t online_time;
        std::vector<uint8_t> latest_first;
        int32_t soh;
        double loss;  // of the period 0, the others lose nothing
        int32_t expected;
    } rows[] = {
        {"80 % left does not lower", PERIOD_3, {2, 2, 1}, 85'000, 5, 2},
        {"more than 80 % left lowers", PERIOD_3, {2, 2, 2}, 85'001, 5, 1},
        {"not below 0", PERIOD_3, {0, 0, 0}, 100'000, 0, 0},
        {"4 stays", PERIOD_3, {4, 4, 4}, 90'000, 50, 4},
        {"corrupt level stays", PERIOD_3, {200}, 90'000, 50, 200},
        {"below 82 % no rise", PERIOD_3, {1, 1, 1}, 81'999, 50, 1},
        {"82 % rises", PERIOD_3, {1, 1, 1}, 82'000, 50, 2},

        {"rose two periods ago", PERIOD_3, {2, 2, 1}, 90'000, 50, 2},
        {"rose three periods ago", 4 * 864'000, {2, 2, 2, 1}, 90'000, 50, 3},
        {"fell two periods ago", 4 * 864'000, {1, 1, 2, 0}, 90'000, 50, 2},
        {"the one before it undecided", 4 * 864'000, {1, NOT_DECIDED, 0, 0}, 90'000, 50, 2},
        {"the third before undecided", 4 * 864'000, {1, 1, NOT_DECIDED, 0}, 90'000, 50, 2},
        {"nothing decided", PERIOD_3, {}, 90'000, 50, 1},
        {"period 2 after 1, 1", PERIOD_2, {1, 1}, 90'000, 50, 2},
        {"period 2 after 1, 0", PERIOD_2, {1, 0}, 90'000, 50, 1},

        {"4 in the last judged period", PERIOD_107, {3, 3, 3}, 90'000, 50, 4},
        {"4 there by a rise", PERIOD_107, {2, 2, 2}, 90'000, 50, 4},
        {"4 there from a corrupt level", 93'311'999, {200}, 90'000, 50, 4},
        {"not from 2", PERIOD_107, {2, 2, 1}, 90'000, 50, 2},
        {"not a second before", PERIOD_107 - 1, {3, 3, 3}, 90'000, 50, 3},
        {"frozen", 93'312'000, {3, 3, 3}, 90'000, 50, 3},
    };
    for (const auto& row : rows) {
        ServiceState state;
        state.online_time = row.online_time;
        state.soh = row.soh;
        state.full_stay_capacity_degradation_per_10days[0] = row.loss;
        const PerPeriod<uint8_t> before = levels_before(row.online_time, row.latest_first);
        state.full_stay_capacity_degradation_aging_lv = before;
        EXPECT_EQ(decide_full_stay_level(state), row.expected) << row.name;
        expect_stored(row.name, before, state.full_stay_capacity_degradation_aging_lv, row.online_time / 864'000,
                      row.expected);
    }
    EXPECT_TRUE(phone.log.empty());
}

// Around the end of period 0 the level is judged by 108 times the total.
TEST(FullStayLevel, OfTheFirstPeriodIsJudgedByTheTotal) {
    const struct {
        const char* name;
        int32_t online_time;
        std::vector<uint8_t> latest_first;
        double total;
        int32_t expected;
    } rows[] = {
        {"too early", 863'743, {}, 1, 0},
        {"108 x 0.0625 % leave 80 %", 863'744, {}, 0.0625, 1},
        {"a trace less leaves more", 863'744, {}, 0.06249999, 0},
        {"into period 1", 864'255, {0}, 0.0625, 1},
        {"then by what period 0 lost", 864'256, {0}, 1, 0},
    };
    for (const auto& row : rows) {
        ServiceState state;
        state.online_time = row.online_time;
        state.soh = 86'750;
        state.total_full_stay_cap_degradation = row.total;
        state.full_stay_capacity_degradation_aging_lv = levels_before(row.online_time, row.latest_first);
        EXPECT_EQ(decide_full_stay_level(state), row.expected) << row.name;
    }
}

}  // namespace
}  // namespace cellwarden
