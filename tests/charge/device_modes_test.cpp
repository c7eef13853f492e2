#include "charge/device_modes.h"

#include <gtest/gtest.h>

#include "support/phone.h"

namespace cellwarden {
namespace {

using namespace test;
using namespace std::string_literals;

TEST(DeviceModes, AreReadFromTheirUnits) {
    const std::string startup = "log <3>cellwarden: This phone is in startup process now, battery charge is limited.\n";
    const std::string camera =
        "log <3>cellwarden: This phone is in camera calibration mode now, battery charge is limited.\n";
    const std::string disabled = "log <3>cellwarden: Charging will be disabled by tessera, 1\n";
    const struct {
        const char* name;
        std::map<uint32_t, std::string> units;
        Calls calls;
        int32_t upper, lower;  // limits of the hold; 0: no hold
        std::set<uint32_t> failing{};
    } rows[] = {
        {"no units", {}, {}, 0, 0},
        {"start-up process", {{2227, "\xAB\0\0\0"s}}, {startup}, 60, 40},
        {"start-up process, one byte", {{2227, "\xAB"}}, {startup}, 60, 40},
        {"start-up mark 170", {{2227, "\xAA\0\0\0"s}}, {}, 0, 0},
        {"start-up mark 172", {{2227, "\xAC\0\0\0"s}}, {}, 0, 0},
        {"start-up mark with another last byte", {{2227, "\xAB\0\0\1"s}}, {}, 0, 0},
        {"empty units", {{2227, ""}, {66677, ""}, {2312, ""}}, {}, 0, 0},
        {"units that cannot be read",
         {{2227, "\xAB\0\0\0"s}, {66677, "\1"}, {2312, "\1"}},
         {},
         0,
         0,
         {2227, 66677, 2312}},
        {"camera calibration", {{66677, "\1"}}, {camera}, 70, 55},
        {"camera 0", {{66677, "\0"s}}, {}, 0, 0},
        {"camera 2", {{66677, "\2"}}, {}, 0, 0},
        {"both; the camera's limits win", {{2227, "\xAB\0\0\0"s}, {66677, "\1"}}, {startup, camera}, 70, 55},
        {"charging disabled", {{2312, "\1"}}, {disabled, "write battchg_ext/usb_input_suspend = 1"}, 0, 0},
        {"disabled 0", {{2312, "\0"s}}, {}, 0, 0},
        {"disabled 2", {{2312, "\2"}}, {}, 0, 0},
        {"all three",
         {{2227, "\xAB\0\0\0"s}, {66677, "\1"}, {2312, "\1"}},
         {startup, camera, disabled, "write battchg_ext/usb_input_suspend = 1"},
         70,
         55},
    };
    write_attribute(PARAM_USB_INPUT_SUSPEND, "0\n");
    for (const auto& row : rows) {
        phone.units = row.units;
        phone.failing_reads = row.failing;
        clear_calls();
        ServiceState state;
        handle_tessera(device, state);
        Calls others = calls();
        std::erase_if(others, [](const std::string& call) { return call.starts_with("read "); });
        EXPECT_EQ(others, row.calls) << row.name;
        EXPECT_EQ(state.hold.lrc_hold_active, row.upper != 0) << row.name;
        EXPECT_EQ(state.hold.lrc_upper_soc, row.upper) << row.name;
        EXPECT_EQ(state.hold.lrc_lower_soc, row.lower) << row.name;
    }
}

TEST(RestoredCapacity, IsWrittenOnce) {
    const struct {
        const char* name;
        int32_t pending;
        Calls calls;
        bool refused = false;
    } rows[] = {
        {"a capacity", 4400, {"write battchg_ext/restored_capacity = 4400"}},
        {"0 of an erased record", 0, {"write battchg_ext/restored_capacity = 0"}},
        {"none", -1, {}},
        {"write fails", 4400, {"write battchg_ext/restored_capacity = 4400 failed"}, true},
    };
    write_attribute(PARAM_RESTORED_CAPACITY, "0\n");
    for (const auto& row : rows) {
        if (row.refused) {
            phone.refusing_attributes = {SysfsParamTable[PARAM_RESTORED_CAPACITY].path};
        }
        clear_calls();
        ServiceState state{.restore = {.restore_capacity_mah = row.pending}};
        set_restored_capacity(device, state);
        set_restored_capacity(device, state);
        EXPECT_EQ(calls(), row.calls) << row.name;
        EXPECT_EQ(state.restore.restore_capacity_mah, -1) << row.name;
    }
}

}  // namespace
}  // namespace cellwarden
