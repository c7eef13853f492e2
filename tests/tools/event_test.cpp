// Events: by name and in units that people read; and their faults.
#include <regex>

#include "program.h"

namespace {

using namespace cellwarden;
using testing::HasSubstr;

class EventTest : public test::ToolTest {
  protected:
    // Packs the fields of each row of events.csv into its file, whose name ends in the event's.
    void pack() const {
        for (const test::Row& row : table("events.csv")) {
            const std::string& file = row.at(0);
            write(file, "");
            const auto packed = run("echo '" + row.at(1) + "' | " PROTOC " --encode=charging." +
                                    file.substr(file.rfind('-') + 1) + " -I" PROTO_FOLDER " charging.proto >" + file);
            ASSERT_EQ(packed.output, "") << file;
        }
    }
};

// The content shows which event it is; standard input has no name.
TEST_F(EventTest, HasNamesAndUnitsThatPeopleRead) {
    pack();
    EXPECT_EQ(run(INSPECT " event - <a-ChargerInsertionRemoval; " INSPECT " event - <b-BatteryDegradation2").output,
              expected("event_pages.txt"));
}

TEST_F(EventTest, AnOutboxBecomesALinePerEvent) {
    pack();
    write("phone-c/outbox/20260301T071244Z-0001-charging-ChargerInsertionRemoval", "\x80");
    const auto outcome = run(INSPECT " event --json-lines phone-c 2>/dev/null");
    EXPECT_EQ(outcome.exit_code, 1) << "one of the two files is not an event";
    EXPECT_EQ(outcome.output, expected("event.jsonl"));
}

TEST_F(EventTest, FaultsTellOffsetAndReason) {
    for (const test::Row& row : table("event_faults.csv")) {
        write("event", test::bytes_of_hex(row.at(1)));
        const auto outcome = run(INSPECT " event --type ChargerInsertionRemoval event");
        EXPECT_EQ(outcome.exit_code, 1) << row.at(0);
        EXPECT_THAT(outcome.output, HasSubstr(row.at(2))) << row.at(0);
    }
    const std::string good = test::bytes_of_hex("080212025044c020858106");  // with a last field of three bytes
    for (size_t length = 1; length < good.size(); length++) {               // cut anywhere, it is an event or a fault
        write("event", good.substr(0, length));
        const auto outcome = run(INSPECT " event - <event");
        EXPECT_LE(outcome.exit_code, 1) << length << ": " << outcome.output;
        EXPECT_EQ(outcome.output.find("Sanitizer"), outcome.output.npos) << outcome.output;
    }
}

// A stream has its phones and times; protoc reads each of its messages, and all of them become the lines of the
// outboxes.
TEST_F(EventTest, AStreamIsReadByOthersAndByEveryTool) {
    pack();
    EXPECT_EQ(run(INSPECT " event --stream outboxes/* >stream").output, "");
    const std::string stream = read("stream");
    EXPECT_EQ(run("tail -c +2 stream | head -c " + std::to_string(stream.at(0)) +
                  " | " PROTOC " --decode=charging.PhoneEvent -I" SOURCES " decode/event_stream.proto | head -n 3")
                  .output,
              "phone: \"phone-a\"\ntime: 1767225600\nageing {\n");
    const std::string without_file = " | sed 's/\"file\":\"[^\"]*\",//'";
    EXPECT_EQ(run(INSPECT " event --json-lines stream" + without_file).output,
              run(INSPECT " event --json-lines outboxes/*" + without_file).output);
    EXPECT_THAT(run(REPORT " stream --phone phone-a -o - | grep -o '\"subjects\":[^]]*'").output, HasSubstr("phone-a"));
    EXPECT_THAT(run(INSPECT " diff outboxes/phone-a/20260101* stream --phone phone-a").output,
                HasSubstr("online time: 10 d 00:00:00 -> 20 d 00:00:00"));
}

// No file of a stranger writes a control character to the terminal, or ends a tool in any but its own words.
TEST_F(EventTest, HostileInputs) {
    BattStat stat = test::record_with("initialized_time=-9223372036854775807 arrhenius_lv[1]=9 latest_user_soh=65500");
    std::string("\x1b[2J\x07\xff\u009b\x7f").copy(stat.battery_model_name.data(), 16);
    write("record", test::bytes_of(stat));
    stat.initialized_time = uint64_t{1} << 62;
    write("other", test::bytes_of(stat));
    write("late", test::bytes_of(test::record_with("max_temp_time=2537654400")));
    write("small", test::bytes_of(test::record_with("fcc_mah[0]=40")));
    pack();
    write("charger", test::bytes_of_hex("08021209") + "\x1b]0,\x07\x9b\xff\r\n");
    write("e\x1bvil/20260301T071244Z-0001-charging-ChargerInsertionRemoval", "\x80");
    write("units/2491", test::bytes_of(stat));
    write("units/28\x1b[2J", "x");
    write("units/2802", "\x1b[2J\x07\xff");
    write("deep.json", std::string(200'000, '['));
    write("run/units/2491", test::bytes_of(stat));
    write("run/series.csv", "online_days,true_soh\n1,x\x1b\n");
    std::filesystem::create_directory(top / "empty");
    write("e\x1bvil/p.json", "{\"about\": \"\u009b\"}");
    EXPECT_EQ(run(INSPECT " event --stream outboxes/* >stream").output, "");
#ifdef LIFETIME
    auto user = test::text_of_file(LIFETIME_PROFILES "/spare.json");
    user.replace(user.find("\"about\": \"") + 10, 0, "\\u001b[2J\u009b");
    write("u\x1b\xffser.json", user);
    write("s\xff.json", test::text_of_file(SOURCES "/tools/lifetime/studies/level-3.json"));
    write("lived/run.json", expected("hostile_run.json"));
    write("typed/run.json",
          std::regex_replace(expected("hostile_run.json"), std::regex("\"level\": 1"), "\"level\": {}"));
#endif
    for (const test::Row& row : table("hostile.csv")) {
        std::string program = row.at(0) == "report" ? REPORT : INSPECT;
        if (row.at(0) == "lifetime") {
#ifdef LIFETIME
            program = LIFETIME;
#else
            continue;
#endif
        }
        const auto outcome = run(program + " " + row.at(1));
        EXPECT_EQ(outcome.exit_code, std::stoi(row.at(2))) << row.at(1) << ": " << outcome.output.substr(0, 500);
        EXPECT_THAT(outcome.output, HasSubstr(row.at(3))) << row.at(1);
        const auto* const control = std::find_if(outcome.output.data(), outcome.output.data() + outcome.output.size(),
                                                 [](unsigned char c) { return (c < ' ' && c != '\n') || c == 0x7f; });
        EXPECT_EQ(control, outcome.output.data() + outcome.output.size()) << row.at(1);
        for (const char* const word : {"Sanitizer", "json.exception", "stod", "stoul", "terminate"}) {
            EXPECT_EQ(outcome.output.find(word), outcome.output.npos) << row.at(1) << ": " << word;
        }
    }
}

}  // namespace
