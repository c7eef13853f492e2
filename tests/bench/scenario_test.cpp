// Scenario files: every key, and the messages about their errors.
#include "bench/scenario.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>

#include "bench/actions.h"
#include "state/batt_stat.h"
#include "support/folder.h"
#include "support/named.h"

namespace cellwarden::bench {
namespace {

using namespace std::string_literals;

TEST(Scenario, ErrorsNameTheFileThePlaceAndWhatWasExpected) {
    // A line with a scenario, then the error after the file's name.
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
    const phone::Battery& battery = phone.battery;
    const phone::Charger& charger = phone.charger;
    std::string text = NAMED(scenario.about, scenario.duration_s, scenario.speed, scenario.uptime_s,
                             scenario.driver_ready_s, scenario.battery_uevent_s, scenario.imei, scenario.faults.at(0),
                             scenario.faults.at(1), scenario.properties.at("ro.a")) +
                       NAMED(phone.model_name, phone.ambient_c, phone.load_ma, phone.thermal_zone, phone.shutdown_phase,
                             battery.charge_full_design_uah, battery.state_of_health, battery.soc,
                             battery.resistance_mohm, battery.temp_c, charger.thermal_level, charger.thermal_level_max);
    for (const TimedAction& timed : scenario.timeline) {
        text += std::to_string(std::lround(timed.at_s)) + " s: " + action_text(timed.action) + "\n";
    }
    EXPECT_EQ(text, test::text_of_file(BENCH_TESTS "/every_key.txt"));
}

TEST(Scenario, TakesUnitsInEveryForm) {
    const Scenario scenario = load_scenario(BENCH_TESTS "/unit_forms.json");
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
