// Events in readable names and units, their faults, and the events of many phones in a database.
#include <nlohmann/json.hpp>
#include <regex>

#include "program.h"

namespace {

using namespace cellwarden;
using testing::HasSubstr;

class EventTest : public test::ToolTest {
  protected:
    // Packs the fields in the text into a file whose name ends with the event's name.
    void pack(const std::string& file, const std::string& fields) const {
        write(file, "");
        const auto packed = run("echo '" + fields + "' | " PROTOC " --encode=charging." +
                                file.substr(file.rfind('-') + 1) + " -I" PROTO_FOLDER " charging.proto >" + file);
        ASSERT_EQ(packed.output, "");
    }
    // The last line of an event: the fields of the schema that the event does not contain.
    [[nodiscard]] std::string absent_line(const std::string& file) const {
        const auto line = nlohmann::json::parse(run(INSPECT " event --json-lines " + file).output);
        std::ifstream schema(PROTO_FOLDER "/charging.proto");
        std::string absent = "  absent:";
        bool inside = false;
        for (std::string row; std::getline(schema, row);) {
            inside = (inside || row == "message " + line.at("event").get<std::string>() + " {") && row != "}";
            std::smatch field;
            if (inside && std::regex_search(row, field, std::regex(R"(\w+ (\w+) = \d+;)")) &&
                !line.contains(field[1])) {
                absent += " " + field[1].str();
            }
        }
        return absent + "\n\n";
    }
};

constexpr const char* CHARGER_FIELDS =
    "version: 2 charger_type: \"PD\" usb_insertion_time: 3661 pdo_raw_list: \"\" thermal_level_time: [11, 0, 13] "
    "inserted_soc: 20 removal_soc: 80 battery_care_flg: true latest_user_soh: 98501";

TEST_F(EventTest, HasReadableNamesAndUnits) {
    pack("a-ChargerInsertionRemoval", CHARGER_FIELDS);
    pack("b-BatteryDegradation2",
         "max_discharge_current: -3000 arrhenius_lv: [4294967295, 3] latest_user_soh: 49250 online_time: 864000");
    // Standard input has no name, so the content shows which event it is.
    EXPECT_EQ(run(INSPECT " event - <a-ChargerInsertionRemoval").output,
              R"(ChargerInsertionRemoval event -, 34 bytes
     1  version                                   2
     2  charger_type                              "PD"
     3  usb_insertion_time                        0 d 01:01:01
     5  pdo_raw_list                              ""
   200  thermal_level_time, 3 elements
        thermal level 0                           0 d 00:00:11
        thermal level 2                           0 d 00:00:13
   300  inserted_soc                              20 %
   301  removal_soc                               80 %
   305  battery_care_flg                          yes
   520  latest_user_soh                           98.501 %
)" + absent_line("a-ChargerInsertionRemoval"));
    EXPECT_EQ(run(INSPECT " event - <b-BatteryDegradation2").output,
              R"(BatteryDegradation2 event -, 32 bytes
   610  max_discharge_current                     -3000 mA
   611  online_time                               10 d 00:00:00
   730  arrhenius_lv, 2 elements
        10 days from day 10                       3
   930  latest_user_soh                           98.500 %
)" + absent_line("b-BatteryDegradation2"));
}

TEST_F(EventTest, AnOutboxBecomesALinePerEvent) {
    pack("outbox/20260301T071245Z-0002-charging-ChargerInsertionRemoval", CHARGER_FIELDS);
    write("outbox/20260301T071244Z-0001-charging-ChargerInsertionRemoval", "\x80");
    const auto outcome = run(INSPECT " event --json-lines outbox 2>/dev/null");
    EXPECT_EQ(outcome.exit_code, 1);  // one of the two files is not an event
    EXPECT_EQ(outcome.output, R"({"file":"outbox/20260301T071245Z-0002-charging-ChargerInsertionRemoval",)"
                              R"("time":"2026-03-01T07:12:45Z","event":"ChargerInsertionRemoval","version":2,)"
                              R"("charger_type":"PD","usb_insertion_time":3661,"pdo_raw_list":"",)"
                              R"("thermal_level_time":[11,0,13],"inserted_soc":20,"removal_soc":80,)"
                              R"("battery_care_flg":true,"latest_user_soh":98501})"
                              "\n");
}

TEST_F(EventTest, FaultsHaveOffsetAndReason) {
    const std::string good("\x08\x02\x12\x02PD\xC0\x20\x85\x81\x06", 11);  // with a last field of three bytes
    const struct {
        const char* name;
        std::string bytes;
        const char* fault;
    } rows[] = {
        {"empty", "", "is empty"},
        {"truncated in the last value", good.substr(0, 10), "the value of field latest_user_soh is truncated"},
        {"text longer than the rest", "\x08\x02\x12\x7fPD",
         "offset 0x0003: field charger_type is 127 bytes long, but only 2 remain"},
        {"unknown field", good + "\xb8\x3e\x01", "unknown field 999"},
        {"text instead of a number", "\x08\x02\x1a\x01\x41",
         "offset 0x0002: field usb_insertion_time has encoding 2, expected 0"},
        {"truncated key", good + "\x80", "the key of a field is truncated"},
        {"varint of eleven bytes", "\x08" + std::string(10, '\xff') + "\x01",
         "the value of field version is truncated"},
    };
    for (const auto& row : rows) {
        write("event", row.bytes);
        const auto outcome = run(INSPECT " event --type ChargerInsertionRemoval event");
        EXPECT_EQ(outcome.exit_code, 1) << row.name;
        EXPECT_THAT(outcome.output, HasSubstr(row.fault)) << row.name;
    }
    for (size_t length = 1; length < good.size(); length++) {  // each truncated event is valid or has a fault
        write("event", good.substr(0, length));
        const auto outcome = run(INSPECT " event - <event");
        EXPECT_LE(outcome.exit_code, 1) << length << ": " << outcome.output;
        EXPECT_EQ(outcome.output.find("Sanitizer"), outcome.output.npos) << outcome.output;
    }
}

// The commands of docs/fleet.md have the results that the page describes.
TEST_F(EventTest, TheWorkedExampleOfAFleetRuns) {
    pack("outboxes/phone-a/20260101T000000Z-0001-charging-BatteryDegradation2",
         "online_time: 864000 latest_user_soh: 50000 filtered_soh_per_10days: [50000]");
    pack("outboxes/phone-a/20270101T000000Z-0002-charging-BatteryDegradation2",
         "online_time: 1728000 latest_user_soh: 44000 soft_charge_mode: 2 total_cycle_count: 1234567 "
         "filtered_soh_per_10days: [45000, 44999, 0]");
    pack("outboxes/phone-b/20260601T000000Z-0001-charging-BatteryDegradation2",
         "online_time: 864000 latest_user_soh: 49000 soft_charge_mode: 1 filtered_soh_per_10days: [49000]");
    pack("outboxes/phone-a/20260102T000000Z-0003-charging-ChargerInsertionRemoval",
         "charger_type: \"PD\" usb_insertion_time: 3600 inserted_soc: 20 removal_soc: 80");
    pack("outboxes/phone-b/20260102T000000Z-0002-charging-ChargerInsertionRemoval",
         "charger_type: \"PD\" usb_insertion_time: 1800 inserted_soc: 30 removal_soc: 50");
    // The name in the page, independent of how the program runs here.
    write("bin/cellwarden-inspect", "#!/bin/sh\nexec " INSPECT " \"$@\"\n");
    const auto outcome = run("chmod +x bin/*; sed -n '/^```sh$/,/^```$/{/^```/!p}' " FLEET_PAGE
                             " >commands; PATH=$PWD/bin:$PATH sh -e commands | sed 's/ *$//'");
    EXPECT_EQ(outcome.output, R"(phone    time                  online_days  level  user_soh  full_charges
-------  --------------------  -----------  -----  --------  ------------
phone-a  2027-01-01T00:00:00Z  20           2      88.0      123.5
phone-b  2026-06-01T00:00:00Z  10           1      98.0
charger  connections  minutes  gained_percent
-------  -----------  -------  --------------
PD       2            45.0     40.0
phone    day
-------  ---
phone-a  10
)");
}

}  // namespace
