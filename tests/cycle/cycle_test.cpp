#include "cycle/cycle.h"

#include <gtest/gtest.h>

namespace cellwarden {
namespace {

TEST(Cycle, MasksSelectEverythingOrTheTwoThermalParameters) {
    const SysfsReadMask full = full_cycle_mask();
    const SysfsReadMask light = light_cycle_mask();
    for (uint32_t id = 0; id < SYSFS_PARAM_COUNT; id++) {
        EXPECT_NE(full[id], 0) << id;
        EXPECT_EQ(light[id] != 0, id == 49 || id == 78) << id;
    }
}

}  // namespace
}  // namespace cellwarden
