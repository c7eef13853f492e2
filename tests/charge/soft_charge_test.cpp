#include "charge/soft_charge.h"

#include <gtest/gtest.h>

#include "support/phone.h"
#include "support/process.h"
#include "support/sysfs.h"

namespace cellwarden {
namespace {

using namespace test;

// With level 3 from its cycle count.
ServiceState aged_battery(int32_t mode) {
    return {.cycle_boot_time = 1000, .soft_charge_mode = mode, .total_cycle_count = 4'000'001};
}

SysfsParams usual_readings() {
    return snapshot_of({{PARAM_BATTERY_MODEL_NAME, 5},
                        {PARAM_BATTERY_CHARGE_FULL_DESIGN, 5'000'000},
                        {PARAM_QCOM_CHARGE_FULL, 4'500'000},
                        {PARAM_BATTERY_TEMP, 450},
                        {PARAM_BATTERY_VOLTAGE_NOW, 4'480'000},
                        {PARAM_BATT_SOC, 9000}});
}

TEST(SoftCharge, HandsTheHighestLevelToTheDriverWhereItDiffers) {
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
        {"another override", 0xC2, 5, 0, "3\n", 3},
        {"another model", 0, 6, 2, "-", 0},
        {"an unknown mode is the driver's", 0, 4, 2, "-", 2, -1},
        {"Arrhenius is highest", 0, 5, 0, "5\n", 5, 0, 4'500'000, 5, 4},
        {"full stay is highest", 0, 5, 0, "4\n", 4, 0, 4'500'000, 3, 4},
        {"full stay without state of health", 0, 5, 0, "3\n", 3, 0, 0, 3, 4},
    };
    for (const auto& row : rows) {
        write_attribute(PARAM_BATT_AGING_LEVEL, "-");
        ServiceState state = aged_battery(row.first_mode);
        state.soft_charge_override = row.override_byte;
        state.arrhenius_lv[0] = row.arrhenius;
        state.full_stay_capacity_degradation_aging_lv[0] = row.full_stay;
        SysfsParams snapshot = usual_readings();
        set_param(snapshot, {PARAM_BATTERY_MODEL_NAME, row.model});
        set_param(snapshot, {PARAM_BATT_AGING_LEVEL, row.driver_level});
        set_param(snapshot, {PARAM_QCOM_CHARGE_FULL, row.charge_full_uah});
        control_soft_charge(state, snapshot);
        EXPECT_EQ(read_attribute(PARAM_BATT_AGING_LEVEL), row.written) << row.name;
        EXPECT_EQ(state.soft_charge_mode, row.expected_mode) << row.name;
    }
}

#ifndef __SANITIZE_ADDRESS__  // which counts the heap calls itself
TEST(SoftCharge, UsesNoHeap) {
    ServiceState state = aged_battery(0);
    const SysfsParams first = usual_readings();
    const SysfsParams second = snapshot_of({{PARAM_BATTERY_MODEL_NAME, 5}, {PARAM_BATT_SOC, 9900}});
    state.online_time = 10;
    const size_t before = heap_calls();
    control_soft_charge(state, first);
    state.cycle_boot_time += 1000;
    control_soft_charge(state, second);
    EXPECT_EQ(heap_calls(), before);
}
#endif

}  // namespace
}  // namespace cellwarden
