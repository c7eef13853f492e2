// The parts of the bench: every printed line and JSON object, the stored files, the simulated faults.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "bench/actions.h"
#include "bench/campaign/call_faults.h"
#include "bench/display.h"
#include "bench/event_text.h"
#include "bench/uevent_sender.h"
#include "support/rows.h"

namespace cellwarden::bench {
namespace {

namespace fs = std::filesystem;
using decode::EventField;
using decode::FieldUnit;

std::string expected(const char* name) {
    std::ifstream file(std::string(BENCH_TESTS "/") + name);
    return {std::istreambuf_iterator<char>(file), {}};
}

decode::Event sample_event() {
    return {.name = "ChargerInsertionRemoval",
            .fields = {{"version", 1, FieldUnit::COUNT, false, {uint64_t{2}}},
                       {"charger_type", 2, FieldUnit::COUNT, false, {std::string("PD")}},
                       {"pdo_raw_list", 5, FieldUnit::COUNT, false, {std::string()}},
                       {"battery_care_flg", 305, FieldUnit::COUNT, false, {true}},
                       {"max_discharge_current", 610, FieldUnit::MA, false, {int64_t{-3000}}},
                       {"full_count", 620, FieldUnit::COUNT, false, {int64_t{0}}},
                       {"thermal_level_time", 200, FieldUnit::SECONDS, true, {uint64_t{11}, uint64_t{0}, uint64_t{13}}},
                       {"arrhenius_lv", 730, FieldUnit::LEVEL, true, {uint64_t{4'294'967'295}, uint64_t{3}}},
                       {"fcc_mah", 640, FieldUnit::MAH, true, {uint64_t{1}, uint64_t{2}, uint64_t{3}, uint64_t{4}}}},
            .absent = {"moment_max_vbatt"}};
}

TEST(EventText, PrintsFieldsAndListsAbsentOnes) {
    const auto name = [](std::string text) { return text.resize(42, ' '), text; };
    const std::vector<std::string> wanted = {
        name("version") + "2",
        name("charger_type") + "\"PD\"",
        name("battery_care_flg") + "yes",
        name("max_discharge_current") + "-3000 mA",
        name("thermal_level_time") + "thermal level 0: 0 d 00:00:11; thermal level 2: 0 d 00:00:13",
        name("arrhenius_lv") + "10 days from day 10: 3",
        name("fcc_mah") + "[0]: 1 mAh; ... 2 more ...; [3]: 4 mAh",
        "empty: pdo_raw_list full_count"};
    EXPECT_EQ(event_lines(sample_event()), wanted);
    EXPECT_EQ(event_json(sample_event()).dump(),
              R"({"version":2,"charger_type":"PD","pdo_raw_list":"","battery_care_flg":true,)"
              R"("max_discharge_current":-3000,"full_count":0,"thermal_level_time":[11,0,13],)"
              R"("arrhenius_lv":[4294967295,3],"fcc_mah":[1,2,3,4]})");
    decode::Event many;
    for (int i = 0; i < 10; i++) {
        many.fields.push_back({"a_name_of_20_letters", 1, FieldUnit::COUNT, false, {uint64_t{0}}});
    }
    for (const std::string& line : event_lines(many)) {
        EXPECT_LE(line.size(), 100U);
    }
    EXPECT_EQ(event_lines(many).size(), 3U);
}

// Returns the output for every kind of action, for the status and the summary.
std::string shown(Output output) {
    const Settings settings = {"ordinary", "a day", "/d/cellwarden", "/s", 30, 60, 3600};
    const Happening happenings[] = {
        DaemonListens{},
        PhoneChange{"load 5 mA"},
        UeventSent{"power_supply", "usb"},
        UeventSent{"thermal", "zone"},
        CycleDone{true},
        CycleDone{false},
        AttributeWrite{"battery/soh", "96", "95"},
        UnitStored{{2805, 2, "95"}},
        UnitStored{{2491, 9728, ""}},
        UnitStored{{2319, 1, "4"}},
        EventSent{{"charging", "X", 1, {}, "is empty"}, "f"},
        LogRecord{3, "hot"},
    };
    Display display{.output = output};
    const PhoneStatus status = {48, 3.87654, -251.4, 25.04, "Full", 2, "PD 27 W", 93784};
    Tally tally;
    testing::internal::CaptureStdout();
    show_settings(display, settings);
    for (const Happening& happening : happenings) {
        show_happening(display, 1.25, happening);
        count_happening(tally, happening);
    }
    for (const double at_s : {0.0, 0.9, 1.0, 4.9, 5.0}) {
        show_status(display, at_s, status);
    }
    show_summary(display, settings, {"the end", true, 30.5}, tally);
    return testing::internal::GetCapturedStdout();
}

TEST(Display, PrintsLinesOrJson) {
    EXPECT_EQ(shown(Output::PLAIN), expected("display.txt"));
    EXPECT_EQ(shown(Output::JSON), expected("display.jsonl"));
    EXPECT_NE(shown(Output::TERMINAL).find("\r\x1b[K    1.2 s  \x1b[31mlog     hot\x1b[0m\n"), std::string::npos);
}

// Actions in sequence on one phone: their text, the uevents that they send, and the phone after each.
TEST(Action, ChangesThePhoneAndHasAText) {
    const Action actions[] = {PlugUsb{"PD", 27},
                              SetAmbient{-5},
                              SetBatteryTemp{44.5},
                              SetLoad{700},
                              SetThermalLevel{9},
                              SetShutdownPhase{4},
                              PlugWireless{"EPP", 15.5},
                              Unplug{},
                              Unplug{},
                              OverrideAttribute{"battery/health", "Hot"},
                              OverrideAttribute{"battery/health", {}},
                              SwitchFault{"imei", true},
                              SwitchFault{"imei", false},
                              SendUevent{"thermal", "zone"}};
    phone::Phone phone;
    std::ostringstream told;
    for (const Action& action : actions) {
        const std::vector<UeventSent> uevents = change_phone(phone, action);
        told << action_text(action) << " |";
        for (const UeventSent& uevent : uevents) {
            told << ' ' << uevent.subsystem << '/' << uevent.name;
        }
        told << " | " << source_text(phone.charger) << ", " << phone.ambient_c << " and " << phone.battery.temp_c
             << " degC, " << phone.load_ma << " mA, level " << phone.charger.thermal_level << ", phase "
             << phone.shutdown_phase << '\n';
    }
    EXPECT_EQ(told.str(), expected("actions.txt"));
}

class StateDir : public testing::Test {
  protected:
    StateDir() : top(make_temporary_state_dir()) {}
    ~StateDir() override { fs::remove_all(top); }
    void write(const char* name, const std::string& bytes) const { std::ofstream(top / name) << bytes; }
    [[nodiscard]] std::string read(const char* name) const {
        std::ifstream stream(top / name);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    const fs::path top;
};

TEST_F(StateDir, StoresTheScenarioAndKeepsAnEarlierRun) {
    Scenario scenario;
    scenario.units = {{2802, "250101"}, {2319, "\x04"}};
    scenario.properties = {{"ro.model", "PVX-40"}};
    scenario.imei = "490154203237518";
    fs::create_directory(top / "units");
    write("units/2319", "\x05");
    prepare_state_dir(top, scenario);
    EXPECT_EQ(read("units/2802"), "250101");
    EXPECT_EQ(read("units/2319"), "\x05");
    EXPECT_EQ(read("properties/ro.model"), "PVX-40");
    EXPECT_EQ(read("imei/1"), "490154203237518");
    switch_fault(top, "imei", true);
    EXPECT_TRUE(fs::exists(top / "faults/imei"));
    switch_fault(top, "imei", false);
    EXPECT_FALSE(fs::exists(top / "faults/imei"));
}

TEST_F(StateDir, ReadsUnitsAndEvents) {
    const struct {
        std::string bytes;
        const char* value;
    } rows[] = {{"\x79", "121"},
                {std::string("\x01\x02", 2), "513"},
                {std::string("\x01\0\0\x80", 4), "2147483649"},
                {"250401", "250401"},
                {"\x01\x02\x03", ""},
                {std::string(8, '\xff'), "18446744073709551615"}};
    fs::create_directory(top / "units");
    for (const auto& row : rows) {
        write("units/2805", row.bytes);
        const StoredUnit unit = read_stored_unit(top / "units/2805");
        EXPECT_EQ(unit.unit, 2805U);
        EXPECT_EQ(unit.size, row.bytes.size());
        EXPECT_EQ(unit.value, row.value);
    }
    fs::create_directory(top / "outbox");
    const char* const event = "outbox/20260301T071245Z-0002-charging-ChargerInsertionRemoval";
    write(event, "\x08\x02");
    const OutboxEvent sent = read_outbox_event(top / event);
    EXPECT_EQ(sent.category + " " + sent.name + " " + std::to_string(sent.size), "charging ChargerInsertionRemoval 2");
    EXPECT_EQ(event_json(sent.content).dump(), R"({"version":2})");
    EXPECT_EQ(sent.fault, "");
    write(event, "\x08");
    EXPECT_NE(read_outbox_event(top / event).fault.find("the value of field version is truncated"), std::string::npos);
    EXPECT_THROW(read_outbox_event(top / "outbox/letter"), std::runtime_error);
}

TEST(Uevent, NamesTheDeviceAndASupply) {
    using namespace std::string_literals;
    EXPECT_EQ(uevent_text("power_supply", "usb"),
              "change@/devices/platform/soc/power_supply/usb\0ACTION=change\0"
              "DEVPATH=/devices/platform/soc/power_supply/usb\0SUBSYSTEM=power_supply\0POWER_SUPPLY_NAME=usb\0"s);
    EXPECT_EQ(uevent_text("thermal", "z").find("POWER"), std::string::npos);
}

TEST(KernelLog, SplitsOneReadIntoLines) {
    std::string records;
    for (const LogRecord& record : split_log_records("<3>a\n<4>b<12>\nplain\n<6>\n<8>c")) {
        records += std::to_string(record.level) + "(" + record.text + ")";
    }
    EXPECT_EQ(records, "3(a)4(b<12>)-1(plain)6()-1(<8>c)");
}

// A failing device call may change only its own consequences.
TEST(CallFault, ExplainsOnlyItsOwnLines) {
    for (const test::Row& row : test::values_of(BENCH_TESTS "/explained.csv")) {
        const auto fault = std::find_if(call_faults().begin(), call_faults().end(),
                                        [&](const CallFault& one) { return one.name == row.at(0); });
        ASSERT_NE(fault, call_faults().end()) << row.at(0);
        EXPECT_EQ(unexplained(*fault, {row.at(1)}).empty(), row.at(2) == "yes") << row.at(0) << ": " << row.at(1);
    }
}

}  // namespace
}  // namespace cellwarden::bench
