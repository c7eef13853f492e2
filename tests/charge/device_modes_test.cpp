// Device modes at start-up, the hold between two limits, and the restored capacity.
#include "charge/device_modes.h"

#include <gtest/gtest.h>

#include "charge/lrc_mode.h"
#include "support/phone.h"
#include "support/sysfs.h"

namespace cellwarden {
namespace {

using namespace test;
using namespace std::string_literals;

const char* const STARTUP = "<3>cellwarden: This phone is in startup process now, battery charge is limited.\n";
const char* const CAMERA = "<3>cellwarden: This phone is in camera calibration mode now, battery charge is limited.\n";
const char* const DISABLED = "<3>cellwarden: Charging will be disabled by tessera, 1\n";

TEST(DeviceModes, AreTakenFromTheirUnits) {
    const struct {
        const char* name;
        std::map<uint32_t, std::string> units;
        std::vector<std::string> log;
        int32_t upper, lower;  // 0: no hold
        const char* suspend = "untouched";
        std::set<uint32_t> failing = {};
    } rows[] = {
        {"start-up process", {{2227, "\xAB\0\0\0"s}}, {STARTUP}, 60, 40},
        {"its one byte", {{2227, "\xAB"}}, {STARTUP}, 60, 40},
        {"more than its low byte", {{2227, "\xAB\0\0\1"s}}, {}, 0, 0},
        {"camera calibration", {{66677, "\1"}}, {CAMERA}, 70, 55},
        {"camera unit 2", {{66677, "\2"}}, {}, 0, 0},
        {"all", {{2227, "\xAB"}, {66677, "\1"}, {2312, "\1"}}, {STARTUP, CAMERA, DISABLED}, 70, 55, "1\n"},
        {"unreadable", {{2227, "\xAB"}, {66677, "\1"}, {2312, "\1"}}, {}, 0, 0, "untouched", {2227, 66677, 2312}},
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
        EXPECT_EQ(read_attribute(PARAM_USB_INPUT_SUSPEND), row.suspend) << row.name;
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

TEST(LrcMode, HoldsBetweenItsLimits) {
    // At 61, 60, 59, 41, 40 and 39 per cent: 0 charges, 1 holds, 2 drains; 3 is no state.
    const std::pair<int32_t, const char*> rows[] = {{0, "210000"}, {1, "211100"}, {2, "211110"}, {3, "200000"}};
    for (const auto& [before, expected] : rows) {
        std::string states;
        for (const int32_t capacity : {61, 60, 59, 41, 40, 39}) {
            states += static_cast<char>('0' + next_lrc_state(before, capacity, 60, 40));
        }
        EXPECT_EQ(states, expected) << "from " << before;
    }
}

}  // namespace
}  // namespace cellwarden
