// Scenario files: every key, and the messages about their errors.
#include "bench/scenario.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>

#include "bench/actions.h"
#include "state/batt_stat.h"

namespace cellwarden::bench {
namespace {

using namespace std::string_literals;

TEST(Scenario, ErrorsNameTheFileThePositionAndTheExpectedValue) {
    // A line with a scenario, then a line with the error without the file's name.
    std::ifstream rows(BENCH_TESTS "/scenario_errors.txt");
    for (std::string scenario, expected; std::getline(rows, scenario) && std::getline(rows >> std::ws, expected);) {
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
    const Scenario scenario = load_scenario(BENCH_TESTS "/every_key.json");
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

TEST(Scenario, AcceptsUnitsInEveryForm) {
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
