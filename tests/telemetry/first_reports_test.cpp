// The first calls after start-up, with the start values of all remembered values.
#include <gtest/gtest.h>

#include "support/phone.h"
#include "telemetry/reports.h"

namespace cellwarden {
namespace {

using namespace test;

TEST(ChargerInsertionRemoval, FirstCallAfterStartUp) {
    const struct {
        const char* name;
        bool sent;
        int32_t level = 0, level_max = 9;
        int32_t phase = 0;
        uint32_t days = 0;
    } rows[] = {
        {"nothing new", false},
        {"the highest level 0 is not a change", false, 0, 0},
        {"the highest level", true, 9, 9},
        {"a level above 0 that is the highest", true, 1, 1},
        {"shutdown with a charger", true, 0, 9, 4},
        {"less than a day", false, 0, 9, 3, 0},
        {"a day", true, 0, 9, 3, 1},
    };
    for (const auto& row : rows) {
        clear_calls();
        ServiceState state{.clock = {.cycle_wall_time = 1'800'000'000},
                           .connection = {.usb_long_insertion_counter = row.days}};
        ChgInsertionRemovalData connection{.usb_state = CONNECTION_CONNECTED};
        send_ondra_chg_insertion_removal_if_is_timing(device, state, connection,
                                                      snapshot_of({{PARAM_SYSTEM_TEMP_LEVEL, row.level},
                                                                   {PARAM_SYSTEM_TEMP_LEVEL_MAX, row.level_max},
                                                                   {PARAM_BOOTUP_SHUTDOWN_PHASE, row.phase}}));
        EXPECT_EQ(!calls().empty(), row.sent) << row.name;
    }
}

}  // namespace
}  // namespace cellwarden
