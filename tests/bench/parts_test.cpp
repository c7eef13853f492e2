// What the bench shows, keeps and allows: every line of text and every JSON object by what it says.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "bench/actions.h"
#include "bench/campaign/call_faults.h"
#include "bench/device/bench_files.h"
#include "bench/display.h"
#include "bench/event_text.h"
#include "bench/uevent_sender.h"
#include "support/folder.h"
#include "support/hex.h"
#include "support/process.h"
#include "support/rows.h"

namespace cellwarden::bench {
namespace {

namespace fs = std::filesystem;
using decode::EventField;
using decode::FieldUnit;

std::string expected(const std::string& name) {
    return test::text_of_file(BENCH_TESTS "/" + name);
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

TEST(EventText, TellsWhatThereIsAndNamesWhatThereIsNot) {
    std::string text;
    for (const std::string& line : event_lines(sample_event())) {
        text += line + "\n";
    }
    EXPECT_EQ(text + event_json(sample_event()).dump() + "\n", expected("event_lines.txt"));
    decode::Event many;
    for (int i = 0; i < 10; i++) {
        many.fields.push_back({"a_name_of_20_letters", 1, FieldUnit::COUNT, false, {uint64_t{0}}});
    }
    for (const std::string& line : event_lines(many)) {
        EXPECT_LE(line.size(), 100U);
    }
    EXPECT_EQ(event_lines(many).size(), 3U);
}

// What is printed for all happenings, the status and the summary.
std::string shown(Output output) {
    const DisplaySettings settings = {"ordinary", "a day", "/d/cellwarden", "/s", 30, 60, 3600};
    const Happening happenings[] = {DaemonListens{},
                                    PhoneChange{"load 5 mA"},
                                    UeventSent{"power_supply", "usb"},
                                    UeventSent{"thermal", "zone"},
                                    CycleDone{true},
                                    CycleDone{true},
                                    CycleDone{false},
                                    AttributeWrite{"battery/soh", "96", "95"},
                                    UnitStored{{2805, 2, "95"}},
                                    UnitStored{{2491, 9728, ""}},
                                    UnitStored{{2319, 1, "4"}},
                                    EventSent{{"charging", "X", 1, {}, "is empty"}, "f"},
                                    LogRecord{3, "hot"}};
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

// Names of a stranger's scenario and what the daemon makes of them.
TEST(Display, PrintsNoControlCharacters) {
    testing::internal::CaptureStdout();
    show_happening({.output = Output::PLAIN}, 1,
                   AttributeWrite{.name = "a", .old_text = "\x1b[2J", .new_text = "\xff\a"});
    show_happening({.output = Output::JSON}, 1, PhoneChange{"\x1b\u009b\xff"});
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "    1.0 s  write   a  \\x1B[2J -> \\xFF\\x07\n"
              R"({"at_s":1.0,"what":"phone","text":"\u001b\u009b\ufffd"})"
              "\n");
}

// One after the other, on one phone: what is said, which uevents are sent, and the phone after it.
TEST(Action, ChangesThePhoneAndTellsOfIt) {
    phone::Phone phone;
    std::ostringstream told;
    for (const TimedAction& timed : load_scenario(BENCH_TESTS "/actions.json").timeline) {
        told << action_text(timed.action) << " |";
        for (const UeventSent& uevent : change_phone(phone, timed.action)) {
            told << ' ' << uevent.subsystem << '/' << uevent.name;
        }
        told << " | " << source_text(phone.charger) << ", " << phone.ambient_c << " and " << phone.battery.temp_c
             << " degC, " << phone.load_ma << " mA, level " << phone.charger.thermal_level << ", phase "
             << phone.shutdown_phase << '\n';
    }
    EXPECT_EQ(told.str(), expected("actions.txt"));
}

class StateDir : public test::FolderTest {
  protected:
    StateDir() : FolderTest(make_temporary_state_dir()) {}
};

TEST_F(StateDir, TakesTheScenarioAndKeepsAnEarlierRun) {
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
    fs::create_directory(top / "units");
    for (const test::Row& row : test::values_of(BENCH_TESTS "/stored_units.csv")) {
        const std::string bytes = test::bytes_of_hex(row.at(0));
        write("units/2805", bytes);
        const StoredUnit unit = read_stored_unit(top / "units/2805").value();
        EXPECT_EQ(unit.unit, 2805U);
        EXPECT_EQ(unit.size, bytes.size());
        EXPECT_EQ(unit.value, row.at(1)) << row.at(0);
    }
    fs::create_directory(top / "outbox");
    const char* const event = "outbox/20260301T071245Z-0002-charging-ChargerInsertionRemoval";
    write(event, "\x08\x02");
    const OutboxEvent sent = read_outbox_event(top / event).value();
    EXPECT_EQ(sent.category + " " + sent.name + " " + std::to_string(sent.size), "charging ChargerInsertionRemoval 2");
    EXPECT_EQ(event_json(sent.content).dump(), R"({"version":2})");
    EXPECT_EQ(sent.fault, "");
    write(event, "\x08");
    EXPECT_NE(read_outbox_event(top / event)->fault.find("the value of field version is truncated"), std::string::npos);
    for (const char* const foreign : {"2805.bak", "letter", "-1", "99999999999", " 2805"}) {
        EXPECT_FALSE(read_stored_unit(top / "units" / foreign)) << foreign;
        EXPECT_FALSE(read_outbox_event(top / "outbox" / foreign)) << foreign;
    }
}

TEST_F(StateDir, AFileIsReplacedAsAWholeOrNotAtAll) {
    const struct {
        const char* name;
        bool (*prepare)();  // the kernel of the child
        const char* stored;
    } rows[] = {
        {"accepted", [] { return true; }, "newer"},
        {"the disk is full after four bytes",
         [] {
             const rlimit limit{.rlim_cur = 4, .rlim_max = 4};
             return signal(SIGXFSZ, SIG_IGN) != SIG_ERR && setrlimit(RLIMIT_FSIZE, &limit) == 0;
         },
         "old"},
        {"the write returns 0", [] { return test::accept_nothing_of_writes(5); }, "old"},
    };
    setenv("CELLWARDEN_BENCH_DIR", top.c_str(), 1);
    fs::create_directory(top / "units");
    for (const auto& row : rows) {
        ASSERT_EQ(replace_bench_file("units", "1", "old", 3), 0);
        test::in_own_process([&] {
            if (!row.prepare()) {
                _exit(0);  // an emulator without the filter
            }
            EXPECT_EQ(replace_bench_file("units", "1", "newer", 5) == 0, row.stored == std::string("newer"))
                << row.name;
            EXPECT_EQ(read("units/1"), row.stored) << row.name;
            EXPECT_EQ(std::distance(fs::directory_iterator(top / "units"), {}), 1) << row.name << ": a file is left";
        });
    }
}

TEST(Uevent, NamesTheDeviceAndASupply) {
    using namespace std::string_literals;
    EXPECT_EQ(uevent_text("power_supply", "usb"),
              "change@/devices/platform/soc/power_supply/usb\0ACTION=change\0"
              "DEVPATH=/devices/platform/soc/power_supply/usb\0SUBSYSTEM=power_supply\0POWER_SUPPLY_NAME=usb\0"s);
    EXPECT_EQ(uevent_text("thermal", "z").find("POWER"), std::string::npos);
}

TEST(KernelLog, SplitsWhatIsReadAtOnce) {
    std::string records;
    for (const LogRecord& record : split_log_records("<3>a\n<4>b<12>\nplain\n<6>\n<8>c")) {
        records += std::to_string(record.level) + "(" + record.text + ")";
    }
    EXPECT_EQ(records, "3(a)4(b<12>)-1(plain)6()-1(<8>c)");
}

// A device call that fails may change what follows from it, and nothing beside that.
TEST(CallFault, ExplainsItsOwnLinesAlone) {
    for (const test::Row& row : test::values_of(BENCH_TESTS "/explained.csv")) {
        const auto fault = std::find_if(call_faults().begin(), call_faults().end(),
                                        [&](const CallFault& one) { return one.name == row.at(0); });
        ASSERT_NE(fault, call_faults().end()) << row.at(0);
        EXPECT_EQ(unexplained(*fault, {row.at(1)}).empty(), row.at(2) == "yes") << row.at(0) << ": " << row.at(1);
    }
}

}  // namespace
}  // namespace cellwarden::bench
