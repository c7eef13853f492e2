// Scenario files: what they give, and where their faults are told to be.
#include "bench/scenario.h"

#include <gtest/gtest.h>

#include <cstring>

#include "stats/batt_stat.h"

namespace cellwarden::bench {
namespace {

std::string error_of(const std::string& text) {
    try {
        (void)parse_scenario(text, "some/phone.json");
    } catch (const ScenarioError& error) {
        return error.what();
    }
    return "no error";
}

TEST(Scenario, ErrorsNameTheFileThePlaceAndWhatWasExpected) {
    const struct {
        const char* name;
        const char* text;
        const char* error;  // after the file's name
    } rows[] = {
        {"no JSON", "{\n  \"speed\": }", "line 2, column 12"},
        {"beyond every number", R"({"speed": 86E400})", "86E400"},
        {"unknown key", R"({"sped": 1})", "sped: unknown key, expected one of: about,"},
        {"just too little", R"({"phone": {"thermal_zone": 1}})",
         "phone.thermal_zone: expected a whole number from 2 to 99, found 1"},
        {"level beyond the highest", R"({"phone": {"thermal_level": 16}})",
         "phone: expected a thermal_level of at most thermal_level_max"},
        {"unit's key", R"({"units": {"-1": {"u8": 1}}})", "units.-1: expected a unit number"},
        {"no hex", R"({"units": {"7": {"hex": "zz"}}})", "units.7.hex: expected pairs"},
        {"no field of the record", R"({"units": {"2491": {"record": {"onlinetime": 1}}}})",
         "units.2491.record.onlinetime: expected a name of one of the record's fields"},
        {"too much for a field", R"({"units": {"2491": {"record": {"fcc_mah": [1, 65536]}}}})",
         "units.2491.record.fcc_mah[1]: expected a whole number from 0 to 65535, found 65536"},
        {"too many elements", R"({"units": {"2491": {"record": {"fcc_mah": [1, 2, 3, 4, 5, 6]}}}})",
         "units.2491.record.fcc_mah: expected an array of at most 5 numbers"},
        {"too long a text", R"({"units": {"2491": {"record": {"battery_model_name": "0123456789abcdef"}}}})",
         "units.2491.record.battery_model_name: expected a text of at most 15 bytes"},
        {"missing file", R"({"units": {"7": {"file": "none.bin"}}})", "tried some/none.bin"},
        {"a folder as a file", R"({"units": {"7": {"file": "/"}}})", "units.7.file: expected a file that can be read"},
        {"i64 overflows", R"({"units": {"7": {"i64": 18446744073709551615}}})",
         "units.7.i64: expected a whole number from -9223372036854775808 to 9223372036854775807"},
        {"property with a path", R"({"properties": {"../x": "1"}})", "properties.../x: expected"},
        {"fault", R"({"faults": ["imei", "unit-read-"]})", "faults[1]: expected one of: unit-read-N"},
        {"no time", R"({"timeline": [{"unplug": true}]})", "timeline[0]: expected an object with the key at_s"},
        {"two actions", R"({"timeline": [{"at_s": 1, "load_ma": 5, "unplug": true}]})",
         "timeline[0]: expected at_s and exactly one of"},
        {"level of a later phone",
         R"({"timeline": [{"at_s": 1, "thermal_level": 8}], "phone": {"thermal_level_max": 7}})",
         "timeline[0].thermal_level: expected a whole number from 0 to 7"},
        {"attribute's name", R"({"timeline": [{"at_s": 1, "attribute": {"name": "battery/colour", "text": ""}}]})",
         "timeline[0].attribute.name: expected the name of a parameter's attribute"},
    };
    for (const auto& row : rows) {
        const std::string error = error_of(row.text);
        EXPECT_EQ(error.find("some/phone.json: "), 0U) << row.name << ": " << error;
        EXPECT_NE(error.find(row.error), error.npos) << row.name << ": " << error;
    }
}

TEST(Scenario, TakesUnitsInEveryForm) {
    const Scenario scenario = parse_scenario(R"({"units": {
        "1": {"u8": 255}, "2": {"u16": 258}, "3": {"u32": 171}, "4": {"i32": -2},
        "5": {"i64": -3}, "6": {"text": "250401"}, "7": {"hex": "00Ff10"}, "8": {"text": ""}}})",
                                             "phone.json");
    const std::map<uint32_t, std::string> wanted = {
        {1, "\xff"},
        {2, "\x02\x01"},
        {3, std::string("\xab\0\0\0", 4)},
        {4, "\xfe\xff\xff\xff"},
        {5, "\xfd\xff\xff\xff\xff\xff\xff\xff"},
        {6, "250401"},
        {7, std::string("\0\xff\x10", 3)},
        {8, ""},
    };
    EXPECT_EQ(scenario.units, wanted);
}

TEST(Scenario, ARecordHasTheNamedFieldsAndIsOtherwiseFresh) {
    const Scenario scenario = parse_scenario(R"({"units": {"2491": {"record": {
        "online_time": 4294967295, "fcc_mah": [258], "min_temp": -2, "dev_charge_count": [1, 2],
        "battery_model_name": "PELLAMIR_VOSKA", "total_cycle_count": 0,
        "initialized_time": 9223372036854775807}}}})",
                                             "phone.json");
    BattStat stat;
    ASSERT_EQ(scenario.units.at(2491).size(), sizeof stat);
    memcpy(&stat, scenario.units.at(2491).data(), sizeof stat);
    BattStat wanted;
    reset_batt_stat(wanted);
    wanted.online_time = 4294967295;
    wanted.fcc_mah[0] = 258;
    wanted.min_temp = -2;
    wanted.dev_attach[0].dev_charge_count = 1;
    wanted.dev_attach[1].dev_charge_count = 2;
    memcpy(wanted.battery_model_name.data(), "PELLAMIR_VOSKA", 14);
    wanted.initialized_time = 9223372036854775807;
    EXPECT_EQ(memcmp(&stat, &wanted, sizeof stat), 0);
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
