#include "telemetry/charger_connection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <tuple>

#include "platform/sysfs_io.h"
#include "support/phone.h"

namespace cellwarden {
namespace {

using namespace test;

constexpr int64_t WALL = 0x1'0000'0000;  // wall clock minus boot clock

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

// Returns by name the values of a connection, and of the working state's counts for it, that are not zero.
using Values = std::map<std::string, std::string>;

Values values_of(const ServiceState& state, const ChgInsertionRemovalData& connection) {
    const auto& c = connection;
    const std::pair<const char*, int64_t> numbers[] = {
        {"learning", c.learning_flg},
        {"care", c.battery_care_flg},
        {"inserted_soc", c.inserted_soc},
        {"removal_soc", c.removal_soc},
        {"inserted_stage", c.inserted_sc_stage},
        {"removal_stage", c.removal_sc_stage},
        {"usbin", c.moment_max_usbin_voltage},
        {"vbatt", c.moment_max_vbatt},
        {"icl_min", c.icl_min_counter},
        {"txid", c.wlc_epp_txid},
        {"usb_time", c.usb_insertion_time},
        {"usb", c.usb_state},
        {"wls", c.wls_state},
        {"unused", c.wlc_ping_freq | c.wlc_potential_power | c.wlc_guaranteed_power},
        {"hot", c.usb_connector_heat_flg},
        {"days", state.connection.usb_long_insertion_counter},
        {"heat_count", state.heat.usb_connector_heat_count},
        {"heat_time", state.heat.usb_connector_heat_time}};
    Values values{{"type", c.charger_type}};
    for (const auto& [name, value] : numbers) {
        values[name] = std::to_string(value);
    }
    for (size_t level = 0; level < THERMAL_LEVEL_COUNT; level++) {
        values["at_level_" + std::to_string(level)] = std::to_string(c.thermal_level_time[level]);
    }
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

// "usb/online=1 capacity=57": an attribute is named by the end of its path.
void set_attributes(const std::string& texts) {
    std::istringstream words(texts);
    for (std::string word; words >> word;) {
        const size_t equals = word.find('=');
        const auto* const desc = std::find_if(SysfsParamTable.begin(), SysfsParamTable.end(), [&](const auto& row) {
            return row.path_is_generated == 0 && std::string(row.path).ends_with("/" + word.substr(0, equals));
        });
        ASSERT_NE(desc, SysfsParamTable.end()) << word;
        phone.attributes[desc->path] = word.substr(equals + 1) + "\n";
    }
}

struct Step {
    const char* name;
    int64_t boot_time;
    std::string now;      // attributes that differ from those of the previous step
    std::string changes;  // expected changes, in the order of their names
};

// Runs the steps from a start; the connector is not hot until the levels are.
void follow(ServiceState state, std::initializer_list<Step> steps) {
    ChgInsertionRemovalData connection;
    phone.attributes.clear();
    set_attributes("system_temp_level_max=30");
    for (const Step& step : steps) {
        set_attributes(step.now);
        SysfsReadMask all;
        all.fill(1);
        SysfsParams snapshot;
        read_sysfs_params(device, snapshot, all);
        const Values before = values_of(state, connection);
        state.clock.cycle_boot_time = step.boot_time;
        state.clock.cycle_wall_time = WALL + step.boot_time;
        set_chg_insertion_removal_data(state, snapshot, connection);
        EXPECT_EQ(changes(before, values_of(state, connection)), step.changes) << step.name;
        cleanup_sysfs_params(snapshot);
    }
}

TEST(ChargerConnection, UsbFromInsertionToRemoval) {
    follow(
        {.connection = {.usb_long_insertion_counter = 7}},
        {
            {"nothing attached", 100, "capacity=57 smart_charging_status=1", ""},
            {"inserted", 110,
             "usb/online=1 batt_aging_level=2 usb/voltage_now=5000000 battery/voltage_now=4000000 usb_real_type=PD",
             "days=0 inserted_soc=57 inserted_stage=2 usb=1 usbin=5000000 vbatt=4000000"},
            {"connected, smart charging", 120, "system_temp_level=3", "at_level_0=10 care=1 type=PD usb=2 usb_time=10"},
            {"smart charging ended, maxima kept", 130,
             "smart_charging_status=0 usb/voltage_now=4999999 battery/voltage_now=3999999 "
             "usb_real_type=sixteen-letters!",
             "at_level_3=10 type=sixteen-letters usb_time=20"},
            {"maxima raised", 131, "usb/voltage_now=5000001 battery/voltage_now=4000001",
             "at_level_3=11 usb_time=21 usbin=5000001 vbatt=4000001"},
            {"the clock is unchanged", 131, "", ""},
            {"the clock goes back", 121, "usb_real_type=DCP", "at_level_3=1 type=DCP usb_time=11"},
            {"removed", 125,
             "usb/online=0 capacity=61 batt_aging_level=3 usb_real_type= usb/voltage_now=5000002 "
             "battery/voltage_now=4000002",
             "at_level_3=5 removal_soc=61 removal_stage=3 usb=3 usb_time=15 usbin=5000002 vbatt=4000002"},
            {"not connected", 130, "", "usb=0"},
            {"inserted again; time since the last connected cycle is not booked", 200,
             "usb/online=1 usb/voltage_now=9 battery/voltage_now=8",
             "inserted_soc=61 inserted_stage=3 usb=1 usbin=9 vbatt=8"},
            {"an online value of 2", 210, "usb/online=2", "usb=0"},
            {"0 after an online value of 2", 220, "usb/online=0", ""},
        });
}

TEST(ChargerConnection, WithoutATypeIsABadConnection) {
    follow({}, {{"first call", 100, "usb/online=1 usb_real_type=PD", "usb=1"},
                {"removed", 130, "usb/online=0 smart_charging_status=-1",
                 "at_level_0=30 care=1 type=BAD CONNECTION usb=3 usb_time=30"}});
    follow({}, {{"first call", 0, "wireless/online=1", "wls=1"},
                {"removed", 30, "wireless/online=0", "type=BAD CONNECTION wls=3"}});
}

TEST(ChargerConnection, ABootClockOfZeroBooksNothing) {
    follow({}, {{"first call", 100, "usb/online=1", "usb=1"},
                {"no clock", 0, "", "usb=2"},
                {"no clock before", 50, "", ""},
                {"both clocks known", 60, "", "at_level_0=10 usb_time=10"}});
}

TEST(ChargerConnection, WirelessFromInsertionToRemoval) {
    follow({.connection = {.usb_long_insertion_counter = 7}},
           {
               {"inserted", 110,
                "wireless/online=1 capacity=57 batt_aging_level=2 battery/voltage_now=4000000 wls_type=EPP "
                "usb/voltage_now=5",
                "days=0 inserted_soc=57 inserted_stage=2 vbatt=4000000 wls=1"},
               {"connected; without USB no time is booked", 120, "battery/voltage_now=4000001",
                "type=EPP vbatt=4000001 wls=2"},
               {"USB also inserted", 130, "usb/online=1 usb_real_type=PD", "usb=1 usbin=5"},
               {"both connected, time is booked", 140, "", "at_level_0=20 type=PD usb=2 usb_time=10"},
               {"wireless removed: USB waits for the next cycle", 150,
                "wireless/online=0 usb/online=0 capacity=58 smart_charging_status=2",
                "at_level_0=30 care=1 removal_soc=58 removal_stage=2 wls=3"},
               {"USB removed; time since its latest cycle", 160, "", "at_level_0=50 usb=3 usb_time=30 wls=0"},
               {"wireless alone counts from the latest USB cycle", 170, "wireless/online=1",
                "inserted_soc=58 usb=0 wls=1"},
               {"wireless time grows from there", 180, "", "at_level_0=90 type=EPP wls=2"},
           });
}

TEST(ChargerConnection, CountsWholeDaysOfUsb) {
    follow({}, {{"inserted", 100, "usb/online=1", "usb=1"},
                {"a day", 86'500, "", "at_level_0=86400 usb=2 usb_time=86400"},
                {"more than a day", 86'501, "", "at_level_0=86401 days=1 usb_time=86401"},
                {"two days", 172'900, "", "at_level_0=172800 usb_time=172800"},
                {"three days at once, counted one per cycle", 300'000, "", "at_level_0=299900 days=2 usb_time=299900"},
                {"the third day in the next cycle", 300'000, "", "days=3"},
                {"no further day", 300'000, "", ""},
                {"also at the removal", 400'000, "usb/online=0",
                 "at_level_0=399900 days=4 type=BAD CONNECTION usb=3 usb_time=399900"},
                {"an insertion resets the count", 400'000, "usb/online=1", "days=0 usb=1"},
                {"days of the time that was not yet reported", 400'000, "", "days=1 type= usb=2"}});
}

TEST(ChargerConnection, CountsRisesOfTheInputCurrentLimitBit) {
    follow({}, {{"set at insertion", 0, "usb/online=1 reg_aicl_status=0x4", "usb=1"},
                {"set at the insertion counts as a rise", 0, "", "icl_min=1 usb=2"},
                {"remains set", 0, "reg_aicl_status=0xffffffff", ""},
                {"removed", 0, "usb/online=0", "type=BAD CONNECTION usb=3"},
                {"inserted again", 0, "usb/online=1", "usb=1"},
                {"the insertion has cleared the remembered bit", 0, "", "icl_min=2 type= usb=2"},
                {"cleared; its neighbours are set", 0, "reg_aicl_status=0xfffffffb", ""},
                {"set again", 0, "reg_aicl_status=0x4", "icl_min=3"},
                {"cleared again", 0, "reg_aicl_status=0x0", ""},
                {"not counted at removal", 0, "usb/online=0 reg_aicl_status=0x4", "type=BAD CONNECTION usb=3"}});
}

TEST(ChargerConnection, BooksTimeByThePreviousThermalLevel) {
    follow({}, {{"inserted", 100, "usb/online=1 system_temp_level=-1", "usb=1"},
                {"below 0", 110, "system_temp_level=0", "usb=2 usb_time=10"},
                {"0", 120, "system_temp_level=19", "at_level_0=10 usb_time=20"},
                {"19", 130, "system_temp_level=20", "at_level_19=10 usb_time=30"},
                {"20", 140, "system_temp_level=0", "usb_time=40"},
                {"0 again", 150, "", "at_level_0=20 usb_time=50"}});
}

TEST(ConnectorHeat, CountsEpisodesAtTheHighestLevel) {
    follow({.heat = {.usb_connector_heat_count = 253}},
           {{"hot without USB", 100, "system_temp_level=30", ""},
            {"hot at insertion", 100, "usb/online=1", "heat_count=254 heat_time=4294967396 hot=1 usb=1"},
            {"still hot", 100, "", "usb=2"},
            {"one level less", 100, "system_temp_level=29", "hot=0"},
            {"one level more", 100, "system_temp_level=31", ""},
            {"hot again", 101, "system_temp_level=30", "heat_count=255 heat_time=4294967397 hot=1 usb_time=1"},
            {"cooler", 101, "system_temp_level=0", "hot=0"},
            {"the count stops at 255, the time is updated", 102, "system_temp_level=30",
             "at_level_0=1 heat_time=4294967398 hot=1 usb_time=2"},
            {"removed hot", 102, "usb/online=0", "type=BAD CONNECTION usb=3"}});
}

}  // namespace
}  // namespace cellwarden
