#include "charge/soft_charge.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <tuple>

#include "support/phone.h"

namespace cellwarden {
namespace {

using namespace test;

constexpr uint8_t NOT_DECIDED = 0xFF;
constexpr int32_t PERIOD_2 = 2 * PERIOD_S, PERIOD_3 = 3 * PERIOD_S, PERIOD_107 = 107 * PERIOD_S;
constexpr int32_t FROZEN = 108 * PERIOD_S;

TEST(CycleCountLevel, RisesAboveEachBorder) {
    int32_t level = 0;
    for (const uint32_t border : {1'000'000U, 2'000'000U, 4'000'000U, 11'000'000U, 13'000'000U}) {
        EXPECT_EQ(soft_charge1_level_of(border, POLICY), level++) << border;
        EXPECT_EQ(soft_charge1_level_of(border + 1, POLICY), level) << border;
    }
    EXPECT_EQ(soft_charge1_level_of(UINT32_MAX, POLICY), 5);
}

struct LevelRow {
    const char* name;
    int32_t online_time;
    std::vector<uint8_t> latest_first;  // levels of the previous periods; all others are undecided
    double ageing;                      // the total, all of it in period 0
    int32_t expected;
    int32_t soh = 90'000;
};

void check_levels(std::initializer_list<LevelRow> rows, const std::function<int32_t(ServiceState&)>& decide,
                  PerPeriod<uint8_t> LevelState::*levels, PerPeriod<extended> AgeingState::*per_period) {
    for (const LevelRow& row : rows) {
        ServiceState state{.usage = {.online_time = row.online_time, .soh = row.soh}};
        (state.ageing.*per_period)[0] = state.ageing.total_arrhenius = state.ageing.total_full_stay_cap_degradation =
            row.ageing;
        (state.levels.*levels).fill(NOT_DECIDED);
        auto slot = static_cast<size_t>(std::clamp(row.online_time / PERIOD_S, 0, 251));
        std::reverse_copy(row.latest_first.begin(), row.latest_first.end(),
                          (state.levels.*levels).begin() + slot - row.latest_first.size());
        PerPeriod<uint8_t> expected = state.levels.*levels;
        if (row.online_time >= 0) {
            expected[slot] = static_cast<uint8_t>(row.expected);
        }
        EXPECT_EQ(decide(state), row.expected) << row.name;
        EXPECT_EQ(state.levels.*levels, expected) << row.name;
        // A decided level does not change in its period.
        state.ageing.*per_period = {};
        EXPECT_EQ(decide(state), row.expected) << row.name << ", again";
    }
}

TEST(ArrheniusLevel, FollowsTheExpectedSum) {
    check_levels(
        {{"raised at the upper border", PERIOD_2, {2}, 6'591'601, 3},
         {"held below the upper border", PERIOD_2, {2}, 6'591'600.99, 2},
         {"held at the lower border", PERIOD_2, {2}, 6'555'600, 2},
         {"lowered below the lower border", PERIOD_2, {2}, 6'555'599.99, 1},
         {"undecided periods are skipped", 5 * PERIOD_S, {NOT_DECIDED, NOT_DECIDED, 3, 1}, 6'591'601, 4},
         {"no decided period counts as level 0", PERIOD_2, {}, 6'591'601, 1},
         {"corrupt level raised", PERIOD_2, {200}, 6'591'601, 5},
         {"last judged second", FROZEN - 1, {3}, 6'591'601, 4},
         {"frozen", FROZEN, {3}, 6'591'601, 3},
         {"frozen at the level of period 107, not of a later one", 110 * PERIOD_S, {5, 5, 2}, 6'591'601, 2},
         {"beyond the last slot", INT32_MAX, {}, 6'591'601, 0},
         {"negative online time", -1, {}, 1e9, 0},
         {"before the first decision", PERIOD_S - 257, {}, 1e9, 0}},
        [](ServiceState& state) {
            return decide_arrhenius_level(device, state.levels, state.ageing, state.usage.online_time, POLICY);
        },
        &LevelState::arrhenius_lv, &AgeingState::arrhenius_per_10days);
}

TEST(ArrheniusLevel, LogsTheDaysAndTheProjection) {
    const std::tuple<const char*, int32_t, extended, std::string, std::string> rows[] = {
        {"108 times the total", PERIOD_S - 256, 9, "0", "756"},
        {"108 times the total, last second", PERIOD_S + 255, 9, "10", "756"},
        {"108 times the first period", PERIOD_S + 256, 100.9, "10", "10800"},
        {"the latest complete period is projected", PERIOD_2, 300.5, "20", "32200"},
        {"low 32 bits of the sum", PERIOD_2, 4e7 + 0.5, "20", "-14967196"},
    };
    for (const auto& [name, online_time, latest_whole_period, days, projection] : rows) {
        clear_calls();
        // Fractions are truncated before the sum; the current period does not count.
        ServiceState state{.usage = {.online_time = online_time}, .ageing = {.total_arrhenius = 7.99}};
        state.levels.arrhenius_lv.fill(NOT_DECIDED);
        state.ageing.arrhenius_per_10days = {100.9, 999'999, 999'999};
        state.ageing.arrhenius_per_10days[static_cast<size_t>(std::max(online_time / PERIOD_S - 1, 0))] =
            latest_whole_period;
        (void)decide_arrhenius_level(device, state.levels, state.ageing, state.usage.online_time, POLICY);
        const std::vector<std::string> expected = {
            "<3>cellwarden: Phone online time has reached " + days + " days\n",
            "<3>cellwarden: Expected arrhenius time at end of battery life is " + projection + "\n"};
        EXPECT_EQ(logs(), expected) << name;
    }
}

TEST(FullStayLevel, FollowsTheMeasuredAndTheExpectedCapacity) {
    check_levels(
        {{"80 % left does not lower", PERIOD_3, {2, 2, 1}, 5, 2, 85'000},
         {"more than 80 % left lowers", PERIOD_3, {2, 2, 2}, 5, 1, 85'001},
         {"not below 0", PERIOD_3, {0, 0, 0}, 0, 0, 100'000},
         {"4 stays", PERIOD_3, {4, 4, 4}, 50, 4},
         {"below 82 % it does not rise", PERIOD_3, {1, 1, 1}, 50, 1, 81'999},
         {"82 % rises", PERIOD_3, {1, 1, 1}, 50, 2, 82'000},
         {"rose two periods ago", PERIOD_3, {2, 2, 1}, 50, 2},
         {"fell two periods ago", PERIOD_3, {1, 1, 2}, 50, 2},
         {"two periods ago undecided", PERIOD_3, {1, NOT_DECIDED, 0}, 50, 2},
         {"nothing decided", PERIOD_3, {}, 50, 1},
         {"period 2 after levels 1, 1", PERIOD_2, {1, 1}, 50, 2},
         {"period 2 after levels 0, 1", PERIOD_2, {1, 0}, 50, 1},
         {"before the first decision", PERIOD_S - 257, {}, 1, 0},
         {"108 times the total of 0.0625 % leave 80 %", PERIOD_S - 256, {}, 0.0625, 1, 86'750},
         {"slightly less lost leaves more than 80 %", PERIOD_S - 256, {}, 0.06249999, 0, 86'750},
         {"4 in the last judged period", PERIOD_107, {3, 3, 3}, 50, 4},
         {"4 in its last second after a rise", FROZEN - 1, {2, 2, 2}, 50, 4},
         {"3 in the second before it", PERIOD_107 - 1, {3, 3, 3}, 50, 3},
         {"frozen", FROZEN, {3, 3, 3}, 50, 3},
         {"negative online time", -1, {}, 50, 0}},
        [](ServiceState& state) { return decide_full_stay_level(state.levels, state.ageing, state.usage, POLICY); },
        &LevelState::full_stay_capacity_degradation_aging_lv, &AgeingState::full_stay_capacity_degradation_per_10days);
    EXPECT_EQ(calls(), Calls{});
}

TEST(SoftCharge, WritesTheHighestLevelIfTheDriversDiffers) {
    const struct {
        const char* name;
        uint8_t override_byte;
        int32_t model, driver_level;
        const char* written;
        int32_t expected_mode;
        int32_t first_mode = 0, charge_full_uah = 4'500'000;
        uint8_t arrhenius = 2, full_stay = 1;
    } rows[] = {
        {"a new level", 0, 5, 2, "3\n", 3},
        {"the driver has it already", 0, 5, 3, "-", 3},
        {"suspended", 0xE7, 5, 2, "-", 0},
        {"fixed by the override", 0xD2, 5, 0, "2\n", 3},
        {"fixed, highest", 0xDF, 5, 1, "15\n", 3},
        {"override without an effect", 0xC2, 5, 0, "3\n", 3},
        {"another model", 0, 6, 2, "-", 0},
        {"an unknown mode takes the driver's level", 0, 4, 2, "-", 2, -1},
        {"Arrhenius is highest", 0, 5, 0, "5\n", 5, 0, 4'500'000, 5, 4},
        {"full stay is highest", 0, 5, 0, "4\n", 4, 0, 4'500'000, 3, 4},
        {"full stay without state of health", 0, 5, 0, "3\n", 3, 0, 0, 3, 4},
    };
    for (const auto& row : rows) {
        write_attribute(PARAM_BATT_AGING_LEVEL, "-");
        ServiceState state{.usage = {.total_cycle_count = 4'000'001},
                           .levels = {.soft_charge_mode = row.first_mode}};  // level 3
        state.levels.soft_charge_override = row.override_byte;
        state.levels.arrhenius_lv[0] = row.arrhenius;
        state.levels.full_stay_capacity_degradation_aging_lv[0] = row.full_stay;
        control_soft_charge(device, state,
                            snapshot_of({{PARAM_BATTERY_MODEL_NAME, row.model},
                                         {PARAM_BATTERY_CHARGE_FULL_DESIGN, 5'000'000},
                                         {PARAM_BATT_AGING_LEVEL, row.driver_level},
                                         {PARAM_QCOM_CHARGE_FULL, row.charge_full_uah}}),
                            POLICY);
        EXPECT_EQ(read_attribute(PARAM_BATT_AGING_LEVEL), row.written) << row.name;
        EXPECT_EQ(state.levels.soft_charge_mode, row.expected_mode) << row.name;
    }
}

TEST(SoftCharge, JudgesTheFullStayWithThisCyclesLoss) {
    ServiceState state{.clock = {.cycle_boot_time = 1000},
                       .usage = {.online_time = PERIOD_S - 256},
                       .ageing = {.soc_full_total_time = 1}};
    state.ageing.total_full_stay_cap_degradation = 0.0624;  // 108 times this leaves slightly more than 80 %
    state.levels.full_stay_capacity_degradation_aging_lv.fill(NOT_DECIDED);
    state.soft_charge = {.full_stay_start = 940, .previous_full_stay_time = 1};
    control_soft_charge(device, state,
                        snapshot_of({{PARAM_BATTERY_MODEL_NAME, 5},
                                     {PARAM_BATTERY_CHARGE_FULL_DESIGN, 100'000},
                                     {PARAM_QCOM_CHARGE_FULL, 86'750},
                                     {PARAM_BATTERY_TEMP, 1000},
                                     {PARAM_BATTERY_VOLTAGE_NOW, 5'000'000}}),
                        POLICY);
    EXPECT_EQ(state.levels.full_stay_capacity_degradation_aging_lv[0], 1);
}

}  // namespace
}  // namespace cellwarden
