#include "telemetry/charger_connection.h"

#include <gtest/gtest.h>

#include <map>
#include <tuple>

#include "support/phone.h"

namespace cellwarden {
namespace {

using namespace test;

constexpr int64_t WALL = 0x1'0000'0000;  // less the boot clock

TEST(ConnectionStates, FollowFromTwoOnlineValues) {
    const std::tuple<int32_t, int32_t, ConnectionState> rows[] = {
        {0, 0, CONNECTION_NONE},      {0, 1, CONNECTION_INSERTED}, {0, 2, CONNECTION_NONE},  {0, -1, CONNECTION_NONE},
        {1, 1, CONNECTION_CONNECTED}, {1, 0, CONNECTION_REMOVED},  {1, 2, CONNECTION_NONE},  {1, -1, CONNECTION_NONE},
        {2, 0, CONNECTION_NONE},      {2, 1, CONNECTION_NONE},     {-1, 1, CONNECTION_NONE}, {-1, 0, CONNECTION_NONE},
    };
    for (const auto& [previous, online, expected] : rows) {
        EXPECT_EQ(connection_state_of(previous, online), expected) << previous << " then " << online;
    }
}

// What a connection holds that is not zero, by name, with what the working state counts of it.
using Values = std::map<std::string, std::string>;

Values values_of(const ServiceState& state, const ChgInsertionRemovalData& connection) {
    const auto& c = connection;
    Values values;
    const auto add = [&](const std::string& name, int64_t value) { values[name] = std::to_string(value); };
    add("learning", c.learning_flg);
    add("care", c.battery_care_flg);
    values["type"] = c.charger_type;
    add("inserted_soc", c.inserted_soc);
    add("removal_soc", c.removal_soc);
    add("inserted_stage", c.inserted_sc_stage);
    add("removal_stage", c.removal_sc_stage);
    add("usbin", c.moment_max_usbin_voltage);
    add("vbatt", c.moment_max_vbatt);
    add("icl_min", c.icl_min_counter);
    add("txid", c.wlc_epp_txid);
    for (size_t level = 0; level < THERMAL_LEVEL_COUNT; level++) {
        add("at_level_" + std::to_string(level), c.thermal_level_time[level]);
    }
    add("usb_time", c.usb_insertion_time);
    add("usb", c.usb_state);
    add("wls", c.wls_state);
    add("unused", c.wlc_ping_freq | c.wlc_potential_power | c.wlc_guaranteed_power);
    add("hot", c.usb_connector_heat_flg);
    add("days", state.usb_long_insertion_counter);
    add("heat_count", state.usb_connector_heat_count);
    add("heat_time", state.usb_connector_heat_time);
    return values;
}

std::string changes(const Values& before, const Values& after) {
    std::string text;
    for (const auto& [name, value] : after) {
        if (before.at(name) != value) {
            text += (text.empty() ? "" : " ") + name + "=" + value;
        }
    }
    return text;
}

struct Step {
    const char* name;
    int64_t boot_time;
    std::vector<Given> now;  // what differs from the step before
    std::string changes;     // in the order of their names
};

// Runs the steps from a fresh start; nothing is hot until the levels say so.
void follow(ServiceState state, std::initializer_list<Step> steps) {
    ChgInsertionRemovalData connection;
    SysfsParams snapshot = snapshot_of({{PARAM_SYSTEM_TEMP_LEVEL_MAX, 30}});
    for (const Step& step : steps) {
        for (const Given& given : step.now) {
            set_param(snapshot, given);
        }
        const Values before = values_of(state, connection);
        state.cycle_boot_time = step.boot_time;
        state.cycle_wall_time = WALL + step.boot_time;
        set_chg_insertion_removal_data(state, snapshot, connection);
        EXPECT_EQ(changes(before, values_of(state, connection)), step.changes) << step.name;
    }
}

TEST(ChargerConnection, UsbFromInsertionToRemoval) {
    const Given plugged{PARAM_USB_ONLINE, 1}, unplugged{PARAM_USB_ONLINE, 0};
    follow({.usb_long_insertion_counter = 7},
           {
               {"nothing attached", 100, {{PARAM_BATTERY_CAPACITY, 57}, {PARAM_SMART_CHARGING_STATUS, 1}}, ""},
               {"inserted",
                110,
                {plugged,
                 {PARAM_BATT_AGING_LEVEL, 2},
                 {PARAM_USB_VOLTAGE_NOW, 5'000'000},
                 {PARAM_BATTERY_VOLTAGE_NOW, 4'000'000},
                 {PARAM_QCOM_USB_REAL_TYPE, "PD"}},
                "days=0 inserted_soc=57 inserted_stage=2 usb=1 usbin=5000000 vbatt=4000000"},
               {"connected, smart charging",
                120,
                {{PARAM_SYSTEM_TEMP_LEVEL, 3}},
                "at_level_0=10 care=1 type=PD usb=2 usb_time=10"},
               {"no longer smart, maxima kept",
                130,
                {{PARAM_SMART_CHARGING_STATUS, 0},
                 {PARAM_USB_VOLTAGE_NOW, 4'999'999},
                 {PARAM_BATTERY_VOLTAGE_NOW, 3'999'999},
                 {PARAM_QCOM_USB_REAL_TYPE, "sixteen-letters!"}},
                "at_level_3=10 type=sixteen-letters usb_time=20"},
               {"maxima raised",
                131,
                {{PARAM_USB_VOLTAGE_NOW, 5'000'001}, {PARAM_BATTERY_VOLTAGE_NOW, 4'000'001}},
                "at_level_3=11 usb_time=21 usbin=5000001 vbatt=4000001"},
               {"the clock stands", 131, {}, ""},
               {"the clock goes back", 121, {{PARAM_QCOM_USB_REAL_TYPE, "DCP"}}, "at_level_3=1 type=DCP usb_time=11"},
               {"removed",
                125,
                {unplugged,
                 {PARAM_BATTERY_CAPACITY, 61},
                 {PARAM_BATT_AGING_LEVEL, 3},
                 {PARAM_QCOM_USB_REAL_TYPE, ""},
                 {PARAM_USB_VOLTAGE_NOW, 5'000'002},
                 {PARAM_BATTERY_VOLTAGE_NOW, 4'000'002}},
                "at_level_3=5 removal_soc=61 removal_stage=3 usb=3 usb_time=15 usbin=5000002 vbatt=4000002"},
               {"gone", 130, {}, "usb=0"},
               {"inserted again; time since the last connected cycle is not booked",
                200,
                {plugged, {PARAM_USB_VOLTAGE_NOW, 9}, {PARAM_BATTERY_VOLTAGE_NOW, 8}},
                "inserted_soc=61 inserted_stage=3 usb=1 usbin=9 vbatt=8"},
               {"an online value of 2", 210, {{PARAM_USB_ONLINE, 2}}, "usb=0"},
               {"is no removal either", 220, {unplugged}, ""},
           });
}

TEST(ChargerConnection, WithoutATypeIsABadConnection) {
    follow({}, {{"first call", 100, {{PARAM_USB_ONLINE, 1}, {PARAM_QCOM_USB_REAL_TYPE, "PD"}}, "usb=1"},
                {"removed",
                 130,
                 {{PARAM_USB_ONLINE, 0}, {PARAM_SMART_CHARGING_STATUS, -1}},
                 "at_level_0=30 care=1 type=BAD CONNECTION usb=3 usb_time=30"}});
    follow({}, {{"first call", 0, {{PARAM_WIRELESS_ONLINE, 1}}, "wls=1"},
                {"removed", 30, {{PARAM_WIRELESS_ONLINE, 0}}, "type=BAD CONNECTION wls=3"}});
}

TEST(ChargerConnection, ABootClockOfZeroBooksNothing) {
    follow({}, {{"first call", 100, {{PARAM_USB_ONLINE, 1}}, "usb=1"},
                {"no clock", 0, {}, "usb=2"},
                {"no clock before", 50, {}, ""},
                {"both known", 60, {}, "at_level_0=10 usb_time=10"}});
}

TEST(ChargerConnection, WirelessFromInsertionToRemoval) {
    follow({.usb_long_insertion_counter = 7},
           {
               {"inserted",
                110,
                {{PARAM_WIRELESS_ONLINE, 1},
                 {PARAM_BATTERY_CAPACITY, 57},
                 {PARAM_BATT_AGING_LEVEL, 2},
                 {PARAM_BATTERY_VOLTAGE_NOW, 4'000'000},
                 {PARAM_WLS_TYPE_TEXT, "EPP"},
                 {PARAM_USB_VOLTAGE_NOW, 5}},
                "days=0 inserted_soc=57 inserted_stage=2 vbatt=4000000 wls=1"},
               {"connected; without USB nothing says since when",
                120,
                {{PARAM_BATTERY_VOLTAGE_NOW, 4'000'001}},
                "type=EPP vbatt=4000001 wls=2"},
               {"USB too", 130, {{PARAM_USB_ONLINE, 1}, {PARAM_QCOM_USB_REAL_TYPE, "PD"}}, "usb=1 usbin=5"},
               {"both book", 140, {}, "at_level_0=20 type=PD usb=2 usb_time=10"},
               {"wireless removed: USB waits for the next cycle",
                150,
                {{PARAM_WIRELESS_ONLINE, 0},
                 {PARAM_USB_ONLINE, 0},
                 {PARAM_BATTERY_CAPACITY, 58},
                 {PARAM_SMART_CHARGING_STATUS, 2}},
                "at_level_0=30 care=1 removal_soc=58 removal_stage=2 wls=3"},
               {"USB removed; nothing was refreshed in between", 160, {}, "at_level_0=50 usb=3 usb_time=30 wls=0"},
               {"wireless alone counts from the latest USB cycle",
                170,
                {{PARAM_WIRELESS_ONLINE, 1}},
                "inserted_soc=58 usb=0 wls=1"},
               {"and goes on counting from there", 180, {}, "at_level_0=90 type=EPP wls=2"},
           });
}

TEST(ChargerConnection, CountsWholeDaysOfUsb) {
    follow({}, {{"inserted", 100, {{PARAM_USB_ONLINE, 1}}, "usb=1"},
                {"a day", 86'500, {}, "at_level_0=86400 usb=2 usb_time=86400"},
                {"more than a day", 86'501, {}, "at_level_0=86401 days=1 usb_time=86401"},
                {"two days", 172'900, {}, "at_level_0=172800 usb_time=172800"},
                {"three days at once, one a cycle", 300'000, {}, "at_level_0=299900 days=2 usb_time=299900"},
                {"the next", 300'000, {}, "days=3"},
                {"no more", 300'000, {}, ""},
                {"at removal too",
                 400'000,
                 {{PARAM_USB_ONLINE, 0}},
                 "at_level_0=399900 days=4 type=BAD CONNECTION usb=3 usb_time=399900"}});
}

TEST(ChargerConnection, CountsRisesOfTheInputCurrentLimitBit) {
    const auto aicl = [](int32_t value) { return Given{PARAM_REG_AICL_STATUS, value}; };
    follow({}, {{"set at insertion", 0, {{PARAM_USB_ONLINE, 1}, aicl(4)}, "usb=1"},
                {"still set: a rise since the insertion", 0, {}, "icl_min=1 usb=2"},
                {"stays", 0, {aicl(-1)}, ""},
                {"removed", 0, {{PARAM_USB_ONLINE, 0}}, "type=BAD CONNECTION usb=3"},
                {"inserted again", 0, {{PARAM_USB_ONLINE, 1}}, "usb=1"},
                {"which forgets the bit", 0, {}, "icl_min=2 type= usb=2"},
                {"falls; its neighbours are set", 0, {aicl(2 | 8)}, ""},
                {"rises", 0, {aicl(4)}, "icl_min=3"},
                {"falls again", 0, {aicl(0)}, ""},
                {"not counted at removal", 0, {{PARAM_USB_ONLINE, 0}, aicl(4)}, "type=BAD CONNECTION usb=3"}});
}

TEST(ChargerConnection, BooksTimeByTheThermalLevelBefore) {
    const auto level = [](int32_t value) { return Given{PARAM_SYSTEM_TEMP_LEVEL, value}; };
    follow({}, {{"inserted", 100, {{PARAM_USB_ONLINE, 1}, level(-1)}, "usb=1"},
                {"below 0", 110, {level(0)}, "usb=2 usb_time=10"},
                {"0", 120, {level(19)}, "at_level_0=10 usb_time=20"},
                {"19", 130, {level(20)}, "at_level_19=10 usb_time=30"},
                {"20", 140, {level(0)}, "usb_time=40"},
                {"0 again", 150, {}, "at_level_0=20 usb_time=50"}});
}

TEST(ConnectorHeat, CountsEpisodesAtTheHighestLevel) {
    const auto level = [](int32_t value) { return Given{PARAM_SYSTEM_TEMP_LEVEL, value}; };
    follow(
        {.usb_connector_heat_count = 253},
        {{"hot without USB", 100, {level(30)}, ""},
         {"hot at insertion", 100, {{PARAM_USB_ONLINE, 1}}, "heat_count=254 heat_time=4294967396 hot=1 usb=1"},
         {"still hot", 100, {}, "usb=2"},
         {"one level less", 100, {level(29)}, "hot=0"},
         {"one level more", 100, {level(31)}, ""},
         {"hot again", 101, {level(30)}, "heat_count=255 heat_time=4294967397 hot=1 usb_time=1"},
         {"cooler", 101, {level(0)}, "hot=0"},
         {"the count stops, the time follows", 102, {level(30)}, "at_level_0=1 heat_time=4294967398 hot=1 usb_time=2"},
         {"removed hot", 102, {{PARAM_USB_ONLINE, 0}}, "type=BAD CONNECTION usb=3"}});
}

}  // namespace
}  // namespace cellwarden
