// Scenario files: what they give, and where their faults are told to be.
#include "bench/scenario.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "bench/actions.h"
#include "state/batt_stat.h"

namespace cellwarden::bench {
namespace {

using namespace std::string_literals;

TEST(Scenario, ErrorsNameTheFileThePlaceAndWhatWasExpected) {
    // The scenario, and the error after the file's name.
    const std::pair<const char*, const char*> rows[] = {
        {"{\n  \"speed\": }", "line 2, column 12"},
        {R"({"speed": 86E400})", "86E400"},
        {R"({"sped": 1})", "sped: unknown key, expected one of: about,"},
        {R"({"phone": {"thermal_zone": 1}})", "phone.thermal_zone: expected a whole number from 2 to 99, found 1"},
        {R"({"phone": {"thermal_level": 16}})", "phone: expected a thermal_level of at most thermal_level_max"},
        {R"({"units": {"-1": {"u8": 1}}})", "units.-1: expected a unit number"},
        {R"({"units": {"7": {"file": "none.bin"}}})", "tried some/none.bin"},
        {R"({"units": {"7": {"i64": 18446744073709551615}}})", "units.7.i64: expected a whole number from -92233"},
        {R"({"units": {"2491": {"record": {"onlinetime": 1}}}})",
         "units.2491.record.onlinetime: expected the name of a record field"},
        {R"({"units": {"2491": {"record": {"fcc_mah": [1, 65536]}}}})",
         "units.2491.record.fcc_mah[1]: expected a whole number from 0 to 65535, found 65536"},
        {R"({"units": {"2491": {"record": {"fcc_mah": [1, 2, 3, 4, 5, 6]}}}})",
         "expected an array of at most 5 numbers"},
        {R"({"units": {"2491": {"record": {"battery_model_name": "0123456789abcdef"}}}})",
         "a text of at most 15 bytes"},
        {R"({"properties": {"../x": "1"}})", "properties.../x: expected"},
        {R"({"faults": ["imei", "unit-read-"]})", "faults[1]: expected one of: unit-read-N"},
        {R"({"timeline": [{"load_ma": 5}]})", "timeline[0]: expected an object with the key at_s"},
        {R"({"timeline": [{"at_s": 1, "plug": {"type": "PD"}}]})", "plug: expected an object with the key watts"},
        {R"({"timeline": [{"at_s": 1, "wireless": {"type": "PD", "watts": 5}}]})", "type: expected one of: BPP, EPP"},
        {R"({"timeline": [{"at_s": 1, "fault": {"name": "imei"}}]})", "fault: expected an object with the key on"},
        {R"({"timeline": [{"at_s": 1, "unplug": false}]})", "unplug: expected true, found false"},
        {R"({"timeline": [{"at_s": 1, "load_ma": 10001}]})", "load_ma: expected a number from 0 to 10000"},
        {R"({"timeline": [{"at_s": 1, "load_ma": 5, "unplug": true}]})",
         "timeline[0]: expected at_s and exactly one of"},
        {R"({"timeline": [{"at_s": 1, "thermal_level": 8}], "phone": {"thermal_level_max": 7}})",
         "timeline[0].thermal_level: expected a whole number from 0 to 7"},
        {R"({"timeline": [{"at_s": 1, "attribute": {"name": "battery/colour", "text": ""}}]})",
         "timeline[0].attribute.name: expected the name of a parameter's attribute"},
    };
    for (const auto& [scenario, expected] : rows) {
        std::string error;
        try {
            (void)parse_scenario(scenario, "some/phone.json");
        } catch (const InputError& caught) {
            error = caught.what();
        }
        EXPECT_TRUE(error.starts_with("some/phone.json: ") && error.find(expected) != error.npos)
            << scenario << ": " << error;
    }
}

TEST(Scenario, EveryKeyReachesItsField) {
    const Scenario scenario = parse_scenario(R"({"about": "x", "duration_s": 2, "speed": 3, "uptime_s": 4,
        "driver_ready_s": 5, "battery_uevent_s": 6, "imei": "7", "faults": ["event-queue", "unit-write-8"],
        "properties": {"ro.a": "b"}, "phone": {"model_name": "m", "charge_full_design_mah": 4000,
            "state_of_health_percent": 90, "soc_percent": 11, "resistance_mohm": 12, "battery_temp_c": 13,
            "ambient_c": 14, "load_ma": 15, "thermal_level": 6, "thermal_level_max": 17, "thermal_zone": 18,
            "shutdown_phase": 4},
        "timeline": [{"at_s": 1, "plug": {"type": "PD_PPS", "watts": 2}}, {"at_s": 2, "wireless": {"type": "BPP", "watts": 3}},
            {"at_s": 3, "unplug": true}, {"at_s": 4, "ambient_c": 5}, {"at_s": 5, "battery_temp_c": 6},
            {"at_s": 6, "load_ma": 7}, {"at_s": 7, "thermal_level": 8}, {"at_s": 8, "shutdown_phase": 9},
            {"at_s": 9, "attribute": {"name": "battery/health", "text": "Hot"}},
            {"at_s": 10, "attribute": {"name": "battery/health", "text": null}},
            {"at_s": 11, "fault": {"name": "unit-read-12", "on": true}},
            {"at_s": 12, "uevent": {"subsystem": "s", "name": "n"}}]})",
                                             "phone.json");
    const phone::Phone& phone = scenario.phone;
    const std::pair<double, double> numbers[] = {{scenario.duration_s, 2},
                                                 {scenario.speed, 3},
                                                 {scenario.uptime_s, 4},
                                                 {scenario.driver_ready_s, 5},
                                                 {scenario.battery_uevent_s, 6},
                                                 {phone.battery.charge_full_design_uah, 4e6},
                                                 {phone.battery.state_of_health, 0.9},
                                                 {phone.battery.soc, 0.11},
                                                 {phone.battery.resistance_mohm, 12},
                                                 {phone.battery.temp_c, 13},
                                                 {phone.ambient_c, 14},
                                                 {phone.load_ma, 15},
                                                 {phone.charger.thermal_level, 6},
                                                 {phone.charger.thermal_level_max, 17},
                                                 {phone.thermal_zone, 18},
                                                 {phone.shutdown_phase, 4}};
    for (const auto& [found, wanted] : numbers) {
        EXPECT_DOUBLE_EQ(found, wanted);
    }
    EXPECT_EQ(scenario.about + scenario.imei + phone.model_name + scenario.properties.at("ro.a"), "x7mb");
    EXPECT_EQ(scenario.faults, (std::vector<std::string>{"event-queue", "unit-write-8"}));
    std::string actions;
    for (const TimedAction& timed : scenario.timeline) {
        actions += std::to_string(std::lround(timed.at_s)) + " " + action_text(timed.action) + "\n";
    }
    EXPECT_EQ(actions,
              "1 USB charger plugged in: PD_PPS 2 W\n2 phone placed on a wireless charger: BPP 3 W\n"
              "3 charger removed\n4 ambient temperature 5 °C\n5 battery temperature 6 °C\n6 load 7 mA\n"
              "7 thermal level 8\n8 shutdown phase 9\n9 battery/health held at 'Hot'\n"
              "10 battery/health follows the phone again\n11 fault unit-read-12 on\n12 uevent from s n\n");
}

TEST(Scenario, TakesUnitsInEveryForm) {
    const Scenario scenario = parse_scenario(R"({"units": {
        "1": {"u8": 255}, "2": {"u16": 258}, "3": {"u32": 171}, "4": {"i32": -2},
        "5": {"i64": -3}, "6": {"text": "250401"}, "7": {"hex": "00Ff10"}, "8": {"text": ""}}})",
                                             "phone.json");
    const std::map<uint32_t, std::string> wanted = {{1, "\xff"},
                                                    {2, "\x02\x01"},
                                                    {3, "\xab\0\0\0"s},
                                                    {4, "\xfe\xff\xff\xff"},
                                                    {5, "\xfd" + std::string(7, '\xff')},
                                                    {6, "250401"},
                                                    {7, "\0\xff\x10"s},
                                                    {8, ""}};
    EXPECT_EQ(scenario.units, wanted);
}

TEST(Scenario, ARecordHasTheNamedFieldsAndIsOtherwiseFresh) {
    const Scenario scenario = parse_scenario(R"({"units": {"2491": {"record": {
        "online_time": 4294967295, "fcc_mah": [258], "min_temp": -2, "dev_charge_count": [0, 2],
        "battery_model_name": "PELLAMIR_VOSKA", "total_cycle_count": 0,
        "initialized_time": 9223372036854775807}}}})",
                                             "phone.json");
    BattStat wanted;
    reset_batt_stat(wanted);
    wanted.online_time = 4294967295;
    wanted.fcc_mah[0] = 258;
    wanted.min_temp = -2;
    wanted.dev_attach[1].dev_charge_count = 2;
    memcpy(wanted.battery_model_name.data(), "PELLAMIR_VOSKA", 14);
    wanted.initialized_time = 9223372036854775807;
    EXPECT_TRUE(scenario.units.at(2491) == std::string(reinterpret_cast<const char*>(&wanted), sizeof wanted));
}

TEST(Scenario, SortsTheTimelineAndKeepsTheOrderOfEqualTimes) {
    const Scenario scenario = parse_scenario(R"({"timeline": [
        {"at_s": 5, "unplug": true}, {"at_s": 1, "load_ma": 10}, {"at_s": 5, "load_ma": 20}]})",
                                             "phone.json");
    ASSERT_EQ(scenario.timeline.size(), 3U);
    EXPECT_EQ(scenario.timeline[0].at_s, 1);
    EXPECT_TRUE(std::holds_alternative<Unplug>(scenario.timeline[1].action));
    EXPECT_TRUE(std::holds_alternative<SetLoad>(scenario.timeline[2].action));
}

}  // namespace
}  // namespace cellwarden::bench
