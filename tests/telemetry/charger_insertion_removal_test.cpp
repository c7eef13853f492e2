#include "telemetry/charger_insertion_removal.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "support/phone.h"
#include "support/sysfs.h"
#include "telemetry/decoded.h"
#include "telemetry/describe.h"

namespace cellwarden {
namespace {

using namespace test;

constexpr int64_t WALL_CLOCK_SET = 1'483'228'800;
const SysfsParams QUIET = snapshot_of({{PARAM_SYSTEM_TEMP_LEVEL_MAX, 9}});

bool is_clear(const ChgInsertionRemovalData& connection) {
    return describe(connection).empty();
}

// A removed connection with another value in every field, those that are never sent included.
ChgInsertionRemovalData full_connection() {
    ChgInsertionRemovalData connection{
        .learning_flg = 1,
        .battery_care_flg = 1,
        .charger_type = "FIFTEEN-LETTERS",
        .inserted_soc = 11,
        .removal_soc = 12,
        .inserted_sc_stage = 13,
        .removal_sc_stage = 14,
        .moment_max_usbin_voltage = 9'000'000,
        .moment_max_vbatt = -1,
        .icl_min_counter = UINT32_MAX,
        .wlc_epp_txid = 17,
        .wlc_ping_freq = 18,
        .wlc_potential_power = 19,
        .thermal_level_time = {},
        .usb_insertion_time = 20,
        .usb_state = CONNECTION_REMOVED,
        .wls_state = CONNECTION_NONE,
        .wlc_guaranteed_power = 22,
        .usb_connector_heat_flg = 1,
    };
    for (uint32_t level = 0; level < THERMAL_LEVEL_COUNT; level++) {
        connection.thermal_level_time[level] = 100 + level;
    }
    connection.thermal_level_time[7] = UINT32_MAX;
    return connection;
}

Fields sent_fields(ServiceState state, ChgInsertionRemovalData connection) {
    phone.events.clear();
    send_ondra_chg_insertion_removal_if_is_timing(state, connection, QUIET);
    EXPECT_EQ(phone.events.size(), 1U);
    EXPECT_TRUE(is_clear(connection));
    if (phone.events.empty()) {
        return {};
    }
    EXPECT_EQ(phone.events[0].name, "ChargerInsertionRemoval");
    return decoded("ChargerInsertionRemoval", phone.events[0].data);
}

TEST(ChargerInsertionRemoval, CarriesTheConnectionFieldByField) {
    ServiceState state{.cycle_wall_time = WALL_CLOCK_SET};
    state.usb_long_insertion_counter = 31;
    state.insertion_removal_report.reported_long_insertion_counter = 31;
    state.total_cycle_degradation = extended{2} / 3;
    state.total_full_stay_cap_degradation = extended{1} / 7;
    state.latest_user_soh = 99'999;
    state.latest_predicted_soh = 88'888;
    state.latest_raw_soh = -1;
    state.latest_filtered_soh = INT32_MAX;
    std::istringstream pairs(R"(
        version 2  charger_type "FIFTEEN-LETTERS"  usb_insertion_time 20  usb_long_insertion_counter 31
        pdo_raw_list ""  inserted_soc 11  removal_soc 12  inserted_sc_stage 13  removal_sc_stage 14
        battery_care_flg true  moment_max_usbin_voltage 9000000  moment_max_vbatt 4294967295
        icl_min_counter 4294967295  wlc_epp_txid 17  usb_connector_heat_flg 1  total_cycle_degradation 666666
        total_full_stay_cap_degradation 142857  latest_user_soh 99999  latest_predicted_soh 88888
        latest_raw_soh 4294967295  latest_filtered_soh 2147483647)");
    Fields expected;
    for (std::string field, value; pairs >> field >> value;) {
        expected[field] = {value};
    }
    for (int level = 0; level < 20; level++) {
        expected["thermal_level_time"].push_back(level == 7 ? "4294967295" : std::to_string(100 + level));
    }

    EXPECT_EQ(sent_fields(state, full_connection()), expected);

    // Nothing known: the same fields, all of them empty.
    ChgInsertionRemovalData removed;
    removed.wls_state = CONNECTION_REMOVED;
    Fields empty = expected;
    for (auto& [field, values] : empty) {
        values.assign(values.size(), values[0][0] == '"' ? "\"\"" : "0");
    }
    empty["version"] = {"2"};
    empty["battery_care_flg"] = {"false"};
    EXPECT_EQ(sent_fields(ServiceState{.cycle_wall_time = WALL_CLOCK_SET}, removed), empty);
}

// Whether a call sends, from the values of the call before and of this one.
TEST(ChargerInsertionRemoval, Triggers) {
    struct Row {
        const char* name;
        bool sent;
        uint32_t usb_state = 0, wls_state = 0;
        uint32_t days = 0;
        int32_t phase = 0, level = 0, level_max = 9;
        int32_t days_before = 0, phase_before = 0, level_before = 0;
        const char* model = "";
        int64_t wall_time = WALL_CLOCK_SET;
    };
    const Row rows[] = {
        {.name = "nothing", .sent = false},
        {.name = "USB removed", .sent = true, .usb_state = 3},
        {.name = "wireless removed", .sent = true, .wls_state = 3},
        {.name = "not on this model", .sent = false, .usb_state = 3, .days = 1, .phase = 4, .model = "AB_cdb-2"},
        {.name = "no clock", .sent = false, .wls_state = 3, .days = 1, .wall_time = WALL_CLOCK_SET - 1},
        {.name = "a day more", .sent = true, .days = 3, .days_before = 2},
        {.name = "days are signed", .sent = false, .days = 0x80000000, .days_before = 0},
        {.name = "days from below zero", .sent = true, .days = 0, .days_before = -1},
        {.name = "phase 4 and nothing attached", .sent = false, .phase = 4},
        {.name = "phase 4 with USB", .sent = true, .usb_state = 1, .phase = 4},
        {.name = "phase 4 since before", .sent = false, .usb_state = 2, .phase = 4, .phase_before = 4},
        {.name = "phase 5", .sent = false, .usb_state = 2, .phase = 5, .phase_before = 3},
        {.name = "the highest level", .sent = true, .level = 9, .level_before = 8},
        {.name = "the highest level since before", .sent = false, .level = 9, .level_before = 9},
        {.name = "beyond it", .sent = false, .level = 10, .level_before = 9},
        {.name = "level 0 of 0", .sent = true, .level = 0, .level_max = 0, .level_before = 1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        ServiceState state{.cycle_wall_time = WALL_CLOCK_SET};
        state.cycle_wall_time = row.wall_time;
        (void)snprintf(state.vendor_model, sizeof state.vendor_model, "%s", row.model);
        state.usb_long_insertion_counter = row.days;
        InsertionRemovalReportMemory& reported = state.insertion_removal_report;
        reported = {row.days_before, row.phase_before, row.level_before};
        ChgInsertionRemovalData connection = full_connection();
        connection.usb_state = row.usb_state;
        connection.wls_state = row.wls_state;
        const SysfsParams snapshot = snapshot_of({{PARAM_BOOTUP_SHUTDOWN_PHASE, row.phase},
                                                  {PARAM_SYSTEM_TEMP_LEVEL, row.level},
                                                  {PARAM_SYSTEM_TEMP_LEVEL_MAX, row.level_max}});
        phone.events.clear();
        send_ondra_chg_insertion_removal_if_is_timing(state, connection, snapshot);

        EXPECT_EQ(phone.events.size(), row.sent ? 1U : 0U);
        EXPECT_EQ(is_clear(connection), row.sent);
        EXPECT_EQ(reported.reported_long_insertion_counter, static_cast<int32_t>(row.days));
        EXPECT_EQ(reported.reported_shutdown_phase, row.phase);
        EXPECT_EQ(reported.reported_thermal_level, row.level);
    }
}

TEST(ChargerInsertionRemoval, ConnectionIsClearedOnlyAfterADoneAttempt) {
    const struct {
        const char* name;
        bool library_missing;
        bool refused;
        const char* log;
    } rows[] = {
        {"no library", true, false, "<3>cellwarden: ONDRA_T for Charger_Insertion_Removal is NULL\n"},
        {"refused", false, true, "<3>cellwarden: Sending ondra event for ChargerInsertionRemoval\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        phone = {};
        phone.ondra_missing = row.library_missing;
        phone.ondra_refuses = row.refused;
        ServiceState state{.cycle_wall_time = WALL_CLOCK_SET};
        ChgInsertionRemovalData connection = full_connection();
        send_ondra_chg_insertion_removal_if_is_timing(state, connection, QUIET);
        EXPECT_EQ(is_clear(connection), row.refused);
        EXPECT_EQ(phone.log, std::vector<std::string>{row.log});
    }
}

}  // namespace
}  // namespace cellwarden
