#include <gtest/gtest.h>

#include "support/phone.h"
#include "telemetry/charger_connection.h"

namespace cellwarden {
namespace {

using namespace test;
using namespace std::string_literals;

TEST(ConnectorHeat, IsLoadedFromUnitsOfTheRightSize) {
    const struct {
        const char* name;
        std::map<uint32_t, std::string> units;
        int32_t count;
        int64_t time;
        std::set<uint32_t> failing{};
    } rows[] = {
        {"both", {{2319, "\xFE"}, {2310, "\1\2\0\0\0\0\0\x80"s}}, 254, INT64_MIN + 513},
        {"no units", {}, 0, 0},
        {"units that cannot be read", {{2319, "\7"}, {2310, "12345678"}}, 0, 0, {2319, 2310}},
        {"too long", {{2319, "\7\7"}, {2310, "123456789"}}, 0, 0},
        {"too short", {{2319, ""}, {2310, "1234567"}}, 0, 0},
    };
    for (const auto& row : rows) {
        phone.units = row.units;
        phone.failing_reads = row.failing;
        ServiceState state{.heat = {.usb_connector_heat_count = 99, .usb_connector_heat_time = 99}};
        ChgInsertionRemovalData connection{.inserted_soc = 57};
        init_chg_insertion_removal_data(device, state, connection);
        EXPECT_EQ(state.heat.usb_connector_heat_count, row.count) << row.name;
        EXPECT_EQ(state.heat.usb_connector_heat_time, row.time) << row.name;
        EXPECT_EQ(connection.inserted_soc, 0U) << row.name;
    }
}

TEST(ConnectorHeat, IsSavedOnceADayAndAtShutdown) {
    const std::string count = "write unit 2319", time = "write unit 2310";
    const struct {
        const char* name;
        int64_t boot_time, last_save;
        int32_t phase;
        Calls calls;
        std::set<uint32_t> failing{};
    } rows[] = {
        {"less than a day after boot", 86'399, 0, 3, {}},
        {"a day after boot", 86'400, 0, 3, {count, time}},
        {"less than a day", 100'000, 13'601, 3, {}},
        {"a day", 100'000, 13'600, 3, {count, time}},
        {"the clock went back", 100, 100'000, 3, {}},
        {"shutdown", 100'000, 100'000, 4, {count, time}},
        {"another phase", 100'000, 99'999, 5, {}},
        {"the count cannot be written",
         86'400,
         0,
         3,
         {count + " failed", "log <3>cellwarden: Failed to save USB connector heat count", time},
         {2319}},
        {"the time cannot be written",
         86'400,
         0,
         3,
         {count, time + " failed", "log <3>cellwarden: Failed to save USB connector heat time"},
         {2310}},
    };
    for (const auto& row : rows) {
        clear_calls();
        phone.failing_writes = row.failing;
        ServiceState state{.clock = {.cycle_boot_time = row.boot_time},
                           .heat = {.usb_connector_heat_count = 254,
                                    .usb_connector_heat_time = INT64_MIN + 513,
                                    .last_heat_save_time = row.last_save}};
        save_usb_connector_heat_data_if_is_timing(device, state,
                                                  snapshot_of({{PARAM_BOOTUP_SHUTDOWN_PHASE, row.phase}}));
        EXPECT_EQ(calls(), row.calls) << row.name;
        EXPECT_EQ(state.heat.last_heat_save_time, row.calls.empty() ? row.last_save : row.boot_time) << row.name;
    }
    EXPECT_EQ(phone.units[2319], "\xFE");
    EXPECT_EQ(phone.units[2310], "\1\2\0\0\0\0\0\x80"s);
}

}  // namespace
}  // namespace cellwarden
