#include "charge/soft_charge.h"

#include <gtest/gtest.h>

#include "support/phone.h"
#include "support/process.h"
#include "support/sysfs.h"

namespace cellwarden {
namespace {

using namespace test;

constexpr uint8_t NOT_DECIDED = 0xFF;

// A battery of the served model with level 3 from its cycle count and nothing else to judge.
ServiceState aged_battery() {
    return {.cycle_boot_time = 1000, .soft_charge_mode = 0, .total_cycle_count = 4'000'001, .latest_user_soh = 100'000};
}

std::vector<Given> usual_readings() {
    return {{PARAM_BATTERY_MODEL_NAME, 5},          {PARAM_BATTERY_TEMP, 450},
            {PARAM_BATTERY_VOLTAGE_NOW, 4'480'000}, {PARAM_BATTERY_CHARGE_FULL_DESIGN, 5'000'000},
            {PARAM_QCOM_CHARGE_FULL, 4'500'000},    {PARAM_BATT_SOC, 9000},
            {PARAM_BATTERY_CAPACITY, 100},          {PARAM_VBAT_FULL, 4480}};
}

void control(ServiceState& state, const std::vector<Given>& changed = {}) {
    std::vector<Given> given = usual_readings();
    given.insert(given.end(), changed.begin(), changed.end());
    control_soft_charge(state, snapshot_of(given));
}

TEST(SoftCharge, HandsTheLevelToTheDriverWhereItDiffers) {
    const struct {
        const char* name;
        uint8_t override_byte;
        int32_t model, driver_level;
        const char* written;
        int32_t expected_mode;
    } rows[] = {
        {"a new level", 0, 5, 2, "3\n", 3},
        {"the driver has it already", 0, 5, 3, "(none)", 3},
        {"the driver's level is unreadable", 0, 5, 0, "3\n", 3},
        {"suspended", 0xE7, 5, 2, "(none)", 0},
        {"fixed by the override", 0xD2, 5, 0, "2\n", 3},
        {"fixed, highest", 0xDF, 5, 1, "15\n", 3},
        {"another override", 0xC2, 5, 0, "3\n", 3},
        {"another model", 0, 4, 0, "(none)", 0},
        {"a model above", 0, 6, 0, "(none)", 0},
    };
    for (const auto& row : rows) {
        write_attribute(PARAM_BATT_AGING_LEVEL, "(none)");
        ServiceState state = aged_battery();
        state.soft_charge_override = row.override_byte;
        control(state, {{PARAM_BATTERY_MODEL_NAME, row.model}, {PARAM_BATT_AGING_LEVEL, row.driver_level}});
        EXPECT_EQ(read_attribute(PARAM_BATT_AGING_LEVEL), row.written) << row.name;
        EXPECT_EQ(state.soft_charge_mode, row.expected_mode) << row.name;
    }
}

TEST(SoftCharge, TakesAnUnknownModeFromTheDriver) {
    ServiceState state = aged_battery();
    state.soft_charge_mode = -1;
    for (const int32_t driver_level : {2, 4}) {
        control(state, {{PARAM_BATTERY_MODEL_NAME, 4}, {PARAM_BATT_AGING_LEVEL, driver_level}});
        EXPECT_EQ(state.soft_charge_mode, 2) << driver_level;
    }
}

TEST(SoftCharge, TakesTheHighestOfTheThreeLevels) {
    const struct {
        const char* name;
        uint32_t cycle_count;
        uint8_t arrhenius, full_stay;
        int32_t charge_full_uah, expected;
    } rows[] = {
        {"cycle count", 4'000'001, 2, 1, 4'500'000, 3},
        {"Arrhenius", 2'000'001, 5, 4, 4'500'000, 5},
        {"full stay", 2'000'001, 3, 4, 4'500'000, 4},
        {"full stay does not count without state of health", 2'000'001, 3, 4, 0, 3},
    };
    for (const auto& row : rows) {
        ServiceState state = aged_battery();
        state.total_cycle_count = row.cycle_count;
        state.arrhenius_lv[0] = row.arrhenius;
        state.full_stay_capacity_degradation_aging_lv[0] = row.full_stay;
        control(state, {{PARAM_QCOM_CHARGE_FULL, row.charge_full_uah}});
        EXPECT_EQ(state.soft_charge_mode, row.expected) << row.name;
        EXPECT_EQ(state.soft_charge1_level, row.cycle_count == 4'000'001 ? 3 : 2) << row.name;
    }
}

// The parts of a cycle that are left out where the battery is not served, or its state of health
// is not known.
TEST(SoftCharge, CountsOnlyWhatItServes) {
    const struct {
        const char* name;
        uint8_t override_byte;
        int32_t model, charge_full_uah;
        bool counts, counts_full_time;
    } rows[] = {
        {"served", 0, 5, 4'500'000, true, true},
        {"state of health not known", 0, 5, 0, true, false},
        {"suspended", 0xE0, 5, 4'500'000, false, false},
        {"another model", 0, 4, 4'500'000, false, false},
    };
    for (const auto& row : rows) {
        ServiceState state = aged_battery();
        state.soft_charge_override = row.override_byte;
        state.soc_full_total_time = 50;
        const auto cycle = [&](int64_t boot_time, int32_t soc) {
            state.cycle_boot_time = boot_time;
            control(state, {{PARAM_BATTERY_MODEL_NAME, row.model},
                            {PARAM_QCOM_CHARGE_FULL, row.charge_full_uah},
                            {PARAM_BATT_SOC, soc}});
        };
        cycle(1000, 9000);
        cycle(1060, 9010);
        cycle(1120, 9020);
        EXPECT_EQ(state.online_time, 120) << row.name;
        EXPECT_EQ(state.soh, row.charge_full_uah == 0 ? -1 : 90'000) << row.name;
        EXPECT_EQ(state.vt_cet_table[7 * 16 + 4], row.counts ? 120 : 0) << row.name;
        EXPECT_EQ(state.total_cycle_count, row.counts ? 4'000'021 : 4'000'001) << row.name;
        // Integrated up to this cycle's online time: the first 60 s lay before the first reference.
        EXPECT_EQ(static_cast<int32_t>(state.total_arrhenius), row.counts ? 60 : 0) << row.name;
        EXPECT_EQ(state.total_cycle_degradation > 0, row.counts) << row.name;
        EXPECT_EQ(state.soc_full_total_time, row.counts_full_time ? 170 : 50) << row.name;
        EXPECT_EQ(state.total_full_stay_cap_degradation > 0, row.counts_full_time) << row.name;
    }
}

// The order of the steps shows in what each sees of the others.
TEST(SoftCharge, JudgesInOrder) {
    ServiceState state = aged_battery();
    state.total_cycle_count = 4'000'000;
    state.soft_charge.charge_soc = 8999;
    state.soft_charge_mode = 2;
    state.prev_bucket_user_soh = 86'000;
    state.latest_user_soh = 86'500;
    state.soft_charge.last_soft_charge_boot_time = 940;
    state.online_time = 863'940;
    state.soft_charge.arrhenius_online_time = 863'940;
    state.soft_charge.arrhenius_temperature_decic = 1000;
    state.soft_charge.arrhenius_voltage_uv = 5'000'000;
    state.total_arrhenius = 61'000;  // 6,588,000 expected but for this minute
    state.soft_charge.full_stay_start = 940;
    state.soc_full_total_time = 1;
    state.soft_charge.previous_full_stay_time = 1;
    state.full_stay_capacity_degradation_aging_lv.fill(NOT_DECIDED);
    state.full_stay_capacity_degradation_aging_lv[0] = 0;
    state.total_full_stay_cap_degradation = 0.0925;  // 80.01 % left but for this minute
    state.arrhenius_lv.fill(NOT_DECIDED);
    state.soft_charge.previous_cycle_count = 1;
    control(state, {{PARAM_BATTERY_TEMP, 1000}, {PARAM_BATTERY_VOLTAGE_NOW, 5'000'000}});
    // This cycle's charge makes level 3, its Arrhenius sum and full-stay loss level 1 each.
    EXPECT_EQ(state.soft_charge1_level, 3);
    EXPECT_EQ(state.arrhenius_lv[1], 1);
    EXPECT_EQ(state.full_stay_capacity_degradation_aging_lv[1], 1);
    // The user's state of health by this cycle's gauge, 90 %, and the previous level, 0.958.
    EXPECT_EQ(state.latest_user_soh, 86'220);
    EXPECT_EQ(state.user_charge_full, 4'311'000);
    EXPECT_EQ(state.soft_charge_mode, 3);
    // The prediction by this cycle's losses of both kinds.
    EXPECT_GT(state.total_cycle_degradation, 1);
    EXPECT_EQ(state.latest_predicted_soh,
              to_i32((100 - (state.total_full_stay_cap_degradation + state.total_cycle_degradation)) * 1000));
}

#ifndef __SANITIZE_ADDRESS__  // which counts the heap calls itself
TEST(SoftCharge, UsesNoHeap) {
    write_attribute(PARAM_BATT_AGING_LEVEL, "0");
    ServiceState state = aged_battery();
    std::vector<Given> given = usual_readings();
    const SysfsParams first = snapshot_of(given);
    given.insert(given.end(),
                 {{PARAM_BATTERY_TEMP, -150}, {PARAM_BATTERY_VOLTAGE_NOW, 3'000'000}, {PARAM_BATT_SOC, 9900}});
    const SysfsParams second = snapshot_of(given);
    state.online_time = 10;
    const size_t before = heap_calls();
    control_soft_charge(state, first);
    state.cycle_boot_time += 1000;
    control_soft_charge(state, second);
    EXPECT_EQ(heap_calls(), before);
    EXPECT_EQ(read_attribute(PARAM_BATT_AGING_LEVEL), "3\n");
}
#endif

}  // namespace
}  // namespace cellwarden
