// Scenario files: what they give, and where their faults are told to be.
#include "bench/scenario.h"

#include <gtest/gtest.h>

#include <cstring>

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
        {R"({"units": {"2491": {"record": {"onlinetime": 1}}}})", "units.2491.record.onlinetime: expected a name of"},
        {R"({"units": {"2491": {"record": {"fcc_mah": [1, 65536]}}}})",
         "units.2491.record.fcc_mah[1]: expected a whole number from 0 to 65535, found 65536"},
        {R"({"units": {"2491": {"record": {"fcc_mah": [1, 2, 3, 4, 5, 6]}}}})",
         "expected an array of at most 5 numbers"},
        {R"({"units": {"2491": {"record": {"battery_model_name": "0123456789abcdef"}}}})",
         "a text of at most 15 bytes"},
        {R"({"properties": {"../x": "1"}})", "properties.../x: expected"},
        {R"({"faults": ["imei", "unit-read-"]})", "faults[1]: expected one of: unit-read-N"},
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
