#include "charge/device_modes.h"

#include <gtest/gtest.h>

#include <tuple>

#include "support/phone.h"

namespace cellwarden {
namespace {

using namespace test;

TEST(LrcMode, NextStateFollowsFromStateAndCapacity) {
    // The hold is between 40 and 60 %.
    struct Row {
        int32_t state;
        int32_t above, at_upper, between, at_lower, below;
    };
    const Row rows[] = {
        {0, 2, 1, 0, 0, 0}, {1, 2, 1, 1, 0, 0}, {2, 2, 1, 1, 1, 0}, {3, 2, 0, 0, 0, 0}, {-1, 2, 0, 0, 0, 0}};
    for (const Row& row : rows) {
        const std::pair<int32_t, int32_t> next[] = {{101, row.above},  {61, row.above},   {60, row.at_upper},
                                                    {59, row.between}, {41, row.between}, {40, row.at_lower},
                                                    {39, row.below},   {-1, row.below}};
        for (const auto& [capacity, expected] : next) {
            EXPECT_EQ(next_lrc_state(row.state, capacity, 60, 40), expected)
                << "state " << row.state << ", capacity " << capacity;
        }
    }
}

TEST(LrcMode, SetsTheSwitchesThatDiffer) {
    const struct {
        const char* name;
        int32_t state, capacity, charge_disable, input_suspend;  // the readings of the switches
        int32_t expected_state;
        Calls writes;
    } rows[] = {
        {"charging", 0, 59, 0, 0, 0, {}},
        {"held", 0, 60, 0, 0, 1, {"write battchg_ext/lrc_charge_disable = 1"}},
        {"held already", 1, 60, 1, 0, 1, {}},
        {"drained", 0, 61, 0, 0, 2, {"write battchg_ext/lrc_input_suspend = 1"}},
        {"drained after a hold",
         1,
         61,
         1,
         0,
         2,
         {"write battchg_ext/lrc_charge_disable = 0", "write battchg_ext/lrc_input_suspend = 1"}},
        {"held after draining",
         2,
         60,
         0,
         1,
         1,
         {"write battchg_ext/lrc_charge_disable = 1", "write battchg_ext/lrc_input_suspend = 0"}},
        {"charged again",
         1,
         40,
         1,
         1,
         0,
         {"write battchg_ext/lrc_charge_disable = 0", "write battchg_ext/lrc_input_suspend = 0"}},
        {"readings other than 0 and 1 are corrected",
         0,
         50,
         2,
         -1,
         0,
         {"write battchg_ext/lrc_charge_disable = 0", "write battchg_ext/lrc_input_suspend = 0"}},
    };
    write_attribute(PARAM_LRC_CHARGE_DISABLE, "");
    write_attribute(PARAM_LRC_INPUT_SUSPEND, "");
    for (const auto& row : rows) {
        ServiceState state{.hold = {.lrc_upper_soc = 60, .lrc_lower_soc = 40, .lrc_state = row.state}};
        clear_calls();
        control_lrc_mode(device, state,
                         snapshot_of({{PARAM_BATTERY_CAPACITY, row.capacity},
                                      {PARAM_LRC_CHARGE_DISABLE, row.charge_disable},
                                      {PARAM_LRC_INPUT_SUSPEND, row.input_suspend}}));
        EXPECT_EQ(state.hold.lrc_state, row.expected_state) << row.name;
        EXPECT_EQ(calls(), row.writes) << row.name;
    }
}

}  // namespace
}  // namespace cellwarden
