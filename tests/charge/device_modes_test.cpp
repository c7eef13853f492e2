// Device modes at start-up, the hold between two limits, and the restored capacity.
#include "charge/device_modes.h"

#include <gtest/gtest.h>

#include "charge/lrc_mode.h"
#include "platform/unit_store.h"
#include "support/phone.h"
#include "support/sysfs.h"

namespace cellwarden {
namespace {

using namespace test;

const char* const STARTUP = "<3>cellwarden: This phone is in startup process now, battery charge is limited.\n";
const char* const CAMERA = "<3>cellwarden: This phone is in camera calibration mode now, battery charge is limited.\n";
const char* const DISABLED = "<3>cellwarden: Charging will be disabled by tessera, 1\n";

TEST(DeviceModes, AreTakenFromTheirUnits) {
    const struct {
        const char* name;
        std::map<uint32_t, std::string> units;
        std::vector<std::string> log;
        int32_t upper, lower;  // 0: no hold
        std::set<uint32_t> failing = {};
    } rows[] = {
        {"start-up process", {{2227, std::string("\xAB\0\0\0", 4)}}, {STARTUP}, 60, 40},
        {"its one byte", {{2227, "\xAB"}}, {STARTUP}, 60, 40},
        {"170", {{2227, std::string("\xAA\0\0\0", 4)}}, {}, 0, 0},
        {"more than its low byte", {{2227, std::string("\xAB\0\0\1", 4)}}, {}, 0, 0},
        {"camera calibration", {{66677, "\1"}}, {CAMERA}, 70, 55},
        {"camera unit 2", {{66677, "\2"}}, {}, 0, 0},
        {"charge disable", {{2312, "\1"}}, {DISABLED}, 0, 0},
        {"all", {{2227, "\xAB"}, {66677, "\1"}, {2312, "\1"}}, {STARTUP, CAMERA, DISABLED}, 70, 55},
        {"unreadable", {{2227, "\xAB"}, {66677, "\1"}, {2312, "\1"}}, {}, 0, 0, {2227, 66677, 2312}},
    };
    for (const auto& row : rows) {
        phone = FakePhone{};
        phone.units = row.units;
        phone.failing_reads = row.failing;
        write_attribute(PARAM_USB_INPUT_SUSPEND, "untouched");
        ServiceState state;
        handle_tessera(state);
        EXPECT_EQ(phone.log, row.log) << row.name;
        EXPECT_EQ(state.lrc_hold_active, row.upper != 0) << row.name;
        EXPECT_EQ(std::pair(state.lrc_upper_soc, state.lrc_lower_soc), std::pair(row.upper, row.lower)) << row.name;
        const bool disabled = !row.log.empty() && row.log.back() == DISABLED;
        EXPECT_EQ(read_attribute(PARAM_USB_INPUT_SUSPEND), disabled ? "1\n" : "untouched") << row.name;
        EXPECT_TRUE(phone.unit_writes.empty()) << row.name;
    }
}

TEST(DeviceModes, RestoredCapacityIsHandedOverOnce) {
    const std::pair<int32_t, const char*> rows[] = {{4400, "4400\n"}, {0, "0\n"}, {-1, "untouched"}};
    for (const auto& [pending, written] : rows) {
        write_attribute(PARAM_RESTORED_CAPACITY, "untouched");
        ServiceState state{.restore_capacity_mah = pending};
        set_restored_capacity(state);
        EXPECT_EQ(read_attribute(PARAM_RESTORED_CAPACITY), written) << pending;
        EXPECT_EQ(state.restore_capacity_mah, -1) << pending;
    }
}

TEST(LrcMode, NextStateByCapacity) {
    // At 61, 60, 59, 41, 40 and 39 per cent with the limits 60 and 40.
    const std::pair<int32_t, std::array<int32_t, 6>> rows[] = {
        {0, {2, 1, 0, 0, 0, 0}}, {1, {2, 1, 1, 1, 0, 0}}, {2, {2, 1, 1, 1, 1, 0}}, {3, {2, 0, 0, 0, 0, 0}}};
    const int32_t capacities[] = {61, 60, 59, 41, 40, 39};
    for (const auto& [state, next] : rows) {
        for (size_t i = 0; i < std::size(capacities); i++) {
            EXPECT_EQ(next_lrc_state(state, capacities[i], 60, 40), next[i]) << state << " at " << capacities[i];
        }
    }
}

TEST(LrcMode, SwitchesAreWrittenWhereTheyDiffer) {
    const struct {
        const char* name;
        int32_t capacity, charge_disable, input_suspend, state;
        const char *charge_disable_after, *input_suspend_after;
    } rows[] = {
        {"charging, set", 59, 0, 0, 0, "as it was", "as it was"},
        {"charging", 59, 1, 1, 0, "0\n", "0\n"},
        {"holding", 60, 0, 1, 1, "1\n", "0\n"},
        {"holding, set", 60, 1, 0, 1, "as it was", "as it was"},
        {"draining", 61, 1, 0, 2, "0\n", "1\n"},
        {"draining, set", 61, 0, 1, 2, "as it was", "as it was"},
    };
    for (const auto& row : rows) {
        write_attribute(PARAM_LRC_CHARGE_DISABLE, "as it was");
        write_attribute(PARAM_LRC_INPUT_SUSPEND, "as it was");
        ServiceState state{.lrc_upper_soc = 60, .lrc_lower_soc = 40};
        control_lrc_mode(state, snapshot_of({{PARAM_BATTERY_CAPACITY, row.capacity},
                                             {PARAM_LRC_CHARGE_DISABLE, row.charge_disable},
                                             {PARAM_LRC_INPUT_SUSPEND, row.input_suspend}}));
        EXPECT_EQ(state.lrc_state, row.state) << row.name;
        EXPECT_EQ(read_attribute(PARAM_LRC_CHARGE_DISABLE), row.charge_disable_after) << row.name;
        EXPECT_EQ(read_attribute(PARAM_LRC_INPUT_SUSPEND), row.input_suspend_after) << row.name;
    }
}

}  // namespace
}  // namespace cellwarden
