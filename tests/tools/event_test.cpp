// Events: by name and in units that people read; and their faults.
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
    write("outbox/20260301T071244Z-0001-charging-ChargerInsertionRemoval", "\x80");
    const auto outcome = run(INSPECT " event --json-lines outbox 2>/dev/null");
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

}  // namespace
