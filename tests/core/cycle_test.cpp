#include "core/cycle.h"

#include <gtest/gtest.h>

#include "support/sysfs.h"

namespace cellwarden {
namespace {

using namespace test;

TEST(Cycle, MasksSelectEverythingOrTheTwoThermalParameters) {
    const SysfsReadMask full = full_cycle_mask();
    const SysfsReadMask light = light_cycle_mask();
    for (uint32_t id = 0; id < SYSFS_PARAM_COUNT; id++) {
        EXPECT_NE(full[id], 0) << id;
        EXPECT_EQ(light[id] != 0, id == 49 || id == 78) << id;
    }
}

// The once-only restored capacity shows whether the battery counted as known.
TEST(Cycle, ABatteryIsKnownByModelCapacityAndCharge) {
    const struct {
        const char* name;
        int32_t model, full_design, soc;
        bool known;
    } rows[] = {
        {"all three at their least", 2, 1, 1, true},
        {"model not matched", 0, 1, 1, false},
        {"model still loading", 1, 1, 1, false},
        {"model compared unsigned", -1, 1, 1, true},
        {"no design capacity", 5, 0, 1, false},
        {"negative design capacity", 5, -1, 1, false},
        {"empty battery", 5, 4'500'000, 0, false},
        {"negative state of charge", 5, 4'500'000, -1, false},
    };
    for (const auto& row : rows) {
        ServiceState state;
        run_full_cycle(state, snapshot_of({{PARAM_BATTERY_MODEL_NAME, row.model},
                                           {PARAM_BATTERY_CHARGE_FULL_DESIGN, row.full_design},
                                           {PARAM_BATT_SOC, row.soc}}));
        EXPECT_EQ(state.restored_capacity_applied, row.known) << row.name;
    }
}

}  // namespace
}  // namespace cellwarden
