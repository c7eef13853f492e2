// Events back to records, streams of events, and what a path says about its batteries.
#include <sstream>

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <nlohmann/json.hpp>
#include <random>

#include "common/input.h"
#include "common/json_reader.h"
#include "common/text.h"
#include "decode/battery_history.h"
#include "decode/event_record.h"
#include "decode/record_layout.h"
#include "phone/stand_in.h"
#include "support/folder.h"
#include "support/hex.h"
#include "support/record.h"
#include "telemetry/reports.h"

namespace cellwarden::decode {
namespace {

using testing::HasSubstr;

std::vector<uint8_t> bytes_of_text(const std::string& text) {
    return {text.begin(), text.end()};
}

// The bytes of the ageing event that the daemon sends for a record.
std::string ageing_event(const BattStat& stat) {
    StandIn phone;
    ServiceState state{.clock = {.cycle_wall_time = 1'483'228'800}, .batt_degr2_report = {.last_reported_period = -2}};
    send_ondra_batt_degr2_if_is_timing(device_of(phone), state, stat);
    return phone.effects.front().bytes;
}

BattStat fresh_record(const std::string& elements = "") {
    BattStat stat;
    reset_batt_stat(stat);
    test::apply_changes(stat, elements);
    return stat;
}

Event decoded(const std::string& bytes) {
    return decode_event(bytes_of_text(bytes));
}

PhoneEvent phone_event(const std::string& phone, int64_t time_s, const std::string& bytes) {
    return {.place = {}, .phone = phone, .time_s = time_s, .packed = bytes_of_text(bytes), .event = decoded(bytes)};
}

const std::string CONNECTION = test::bytes_of_hex("080212025044e0121ee81250");  // PD, from 30 % to 80 %

// Every element has another value; the daemon writes the event, and its record comes back.
TEST(EventRecord, IsTheRecordThatTheDaemonSent) {
    std::mt19937 random(1);
    BattStat stat;
    std::generate_n(reinterpret_cast<uint8_t*>(&stat), sizeof stat, [&] { return static_cast<uint8_t>(random() | 1); });
    const BattStat fresh = fresh_record();
    stat.initialize = fresh.initialize;
    stat.version = fresh.version;
    const RecordOfEvent found = record_of_event(decoded(ageing_event(stat)));
    EXPECT_THAT(found.missing, testing::UnorderedElementsAre("learning_total_count", "shutdown_capacity", "full_count",
                                                             "recharge_count", "learning_try_cnt", "safety_timer_cnt",
                                                             "fcc_mah_raw", "soft_charge_override"));
    EXPECT_THAT(found.oddities, testing::IsEmpty());
    for (const RecordField& field : record_fields()) {
        const bool sent = std::find(found.missing.begin(), found.missing.end(), field.name) == found.missing.end();
        for (size_t i = 0; i < field.count; i++) {
            EXPECT_EQ(stored_value(found.stat, field, i), stored_value(sent ? stat : fresh, field, i))
                << field.name << "[" << i << "]";
        }
    }
}

TEST(EventRecord, NamesWhatARecordCannotHold) {
    const struct {
        const char* rule;
        EventField field;
        std::string oddity;   // or the error
        const char* element;  // of the record, and its value
        int64_t value;
    } rows[] = {
        {"fits",
         {"fcc_mah", 3, FieldUnit::MAH, true, {uint64_t{1}, uint64_t{65'535}}},
         "2 elements, expected 5",
         "fcc_mah[1]",
         65'535},
        {"too wide",
         {"fcc_mah", 3, FieldUnit::MAH, true, {uint64_t{65'536}}},
         "fcc_mah[0]: 65536 mAh does not fit",
         "fcc_mah[0]",
         0},
        {"one too many",
         {"first_soh_time", 12, FieldUnit::WALL_S, true, std::vector<EventValue>(10, uint64_t{7})},
         "first_soh_time[9]: the record has only 9",
         "first_soh_time[8]",
         7},
        {"a charging current",
         {"max_discharge_current", 610, FieldUnit::MA, false, {int64_t{5}}},
         "does not fit",
         "max_discharge_current",
         0},
        {"the smallest number",
         {"max_discharge_current", 610, FieldUnit::MA, false, {int64_t{INT32_MIN}}},
         "does not fit",
         "max_discharge_current",
         0},
        {"not decided",
         {"arrhenius_lv", 730, FieldUnit::LEVEL, true, {uint64_t{2}, uint64_t{UINT32_MAX}}},
         "2 elements",
         "arrhenius_lv[1]",
         255},
        {"all 64 bits", {"initialized_time", 6, FieldUnit::WALL_S, false, {UINT64_MAX}}, "", "initialized_time", -1},
        {"another layout",
         {"version", 2, FieldUnit::TEXT, false, {std::string("5.3.4")}},
         "layout version 5.3.4",
         "",
         0},
        {"no version",
         {"version", 2, FieldUnit::TEXT, false, {std::string("5.2.4\x1b")}},
         "version \"5.2.4\\x1B\", expected three",
         "",
         0},
        {"a number of a version",
         {"version", 2, FieldUnit::TEXT, false, {std::string("5.2.256")}},
         "expected three",
         "",
         0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.rule);
        const Event event{.name = event_names().front(), .fields = {row.field}, .absent = {}};
        try {
            const RecordOfEvent found = record_of_event(event);
            EXPECT_EQ(found.oddities.empty(), row.oddity.empty());
            EXPECT_THAT(found.oddities.empty() ? "" : found.oddities.front(), HasSubstr(row.oddity));
            for (const auto& element : test::record_elements()) {
                if (element.name == row.element) {
                    EXPECT_EQ(test::element_value(found.stat, element), row.value);
                }
            }
        } catch (const EventError& error) {
            EXPECT_STREQ(row.element, "") << error.what();
            EXPECT_THAT(error.what(), HasSubstr(row.oddity));
        }
    }
    EXPECT_THROW(record_of_event(decoded(CONNECTION)), EventError);
}

// What a stream holds, an event or a refusal per line.
std::string read_all(const std::string& stream) {
    std::string lines;
    read_events_in(
        bytes_of_text(stream), "s", {},
        [&](const PhoneEvent& found) {
            lines += found.phone + " " + std::to_string(found.time_s.value_or(-1)) + " " +
                     std::string(found.event.name) + " " + std::to_string(found.packed.size()) + "\n";
        },
        [&](const std::string& text) { lines += text + "\n"; });
    return lines;
}

TEST(EventStream, HoldsWhatWasWritten) {
    const std::string ageing = ageing_event(fresh_record("online_time=864000"));
    std::ostringstream stream;
    write_event(stream, phone_event("a", 1'800'000'000, ageing));
    write_event(stream, phone_event("", 0, CONNECTION));
    const size_t second = stream.str().size();
    write_event(stream, phone_event("b", 7, CONNECTION));
    const std::string bytes = stream.str();
    const std::string first = "a 1800000000 BatteryDegradation2 " + std::to_string(ageing.size()) + "\n";
    const std::string other = " 0 ChargerInsertionRemoval 12\n";
    EXPECT_EQ(read_all(bytes), first + other + "b 7 ChargerInsertionRemoval 12\n");
    for (size_t length = second + 1; length < bytes.size(); length++) {  // the whole events before a cut remain
        EXPECT_THAT(read_all(bytes.substr(0, length)), testing::StartsWith(first + other + "s, offset 0x")) << length;
    }
}

// The first message is also an event: its length is the key of battery_model_name.
TEST(EventStream, IsAStreamAlsoIfItCouldBeAnEvent) {
    const std::string bytes = test::bytes_of_hex("220a05666f756e641a1908021210" + std::string(32, '6') + "18f0502200");
    ASSERT_EQ(event_name_of(bytes_of_text(bytes)), "BatteryDegradation2");
    EXPECT_EQ(read_all(bytes), "found -1 BatteryDegradation2 25\n");
}

TEST(EventStream, FaultsHavePlaceAndReason) {
    const struct {
        const char* rule;
        const char* hex;
        const char* refusal;
    } rows[] = {
        {"no event", "050a0161100022040802", "s, offset 0x0000: the message has no event"},
        {"a time before 1970", "1110ffffffffffffffffff01220408021200", "time -1 is not between"},
        {"a field of no schema", "08220608027a001200", "field"},
        {"an event without bytes", "022200", "is empty"},
        {"longer than the rest", "7f0a0161", "the message has 127 bytes, but only 3 remain"},
        {"no end of the length", "0422020802ffffffffffffffffffffff", "s, offset 0x0005: not the length of an event"},
        {"a length of 4 GiB", "0422020802ffffffff0f", "not the length of an event"},
        {"an empty message", "042202080200", "s, offset 0x0005: the message has no event"},
    };
    for (const auto& row : rows) {
        EXPECT_THAT(read_all(test::bytes_of_hex(row.hex)), HasSubstr(row.refusal)) << row.rule;
    }
}

class History : public test::FolderTest {
  protected:
    // The source, the phone and the number of connections of each history, or the error.
    [[nodiscard]] std::string load(const std::string& path, const std::vector<std::string>& phones = {}) const {
        std::string lines;
        const auto refuse = [&](const std::string& text) { lines += "refused " + text + "\n"; };
        try {
            for (const BatteryHistory& history : load_histories({(top / path).string(), phones, 2, refuse})) {
                lines += history.phone + ": " + history.source + ", level " +
                         std::to_string(history.stat.soft_charge_mode) + ", " +
                         std::to_string(history.connections.size()) + " connections\n";
            }
        } catch (const InputError& error) {
            lines += std::string("error: ") + error.what() + "\n";
        }
        return lines;
    }
};

TEST_F(History, IsTheRecordOrTheNewestEvent) {
    const std::string record = bytes_of(fresh_record("soft_charge_mode=4"));
    const auto event = [](int level, int online) {
        return ageing_event(
            fresh_record("soft_charge_mode=" + std::to_string(level) + " online_time=" + std::to_string(online)));
    };
    write("record", record);
    write("run/units/2491", record);
    write("run/outbox/20260301T071245Z-0001-charging-ChargerInsertionRemoval", CONNECTION);
    write("bad/units/2491", "\xff");
    write("one/20260301T000000Z-0002-charging-BatteryDegradation2", event(2, 9));
    write("one/20260201T000000Z-0001-charging-BatteryDegradation2", event(1, 99));
    write("one/20260401T000000Z-0003-charging-ChargerInsertionRemoval", CONNECTION);
    write("one/readme", "hello");
    write("untimed/a-BatteryDegradation2", event(3, 99));
    write("untimed/b-BatteryDegradation2", event(2, 98));
    write("connections/20260401T000000Z-0003-charging-ChargerInsertionRemoval", CONNECTION);
    write("units/2310", "12345678");
    write("other", "no such thing");
    std::ostringstream stream;
    for (const char* const phone : {"x", "y", "z"}) {
        write_event(stream, phone_event(phone, 5, event(5, 1)));
    }
    write("three", stream.str());
    const struct {
        const char* path;
        std::vector<std::string> phones;
        const char* expected;
    } rows[] = {
        {"record", {}, ": record, accepted: layout version 5.2.4, accepted unchanged, level 4, 0 connections\n"},
        {"run", {}, ": record, accepted: layout version 5.2.4, accepted unchanged, level 4, 1 connections\n"},
        {"bad", {}, "bad/units/2491: not a record that the daemon would keep: 1 bytes"},
        {"one", {}, "one: ageing event of 2026-03-01 00:00:00 UTC, level 2, 1 connections\n"},
        {"one", {}, "refused "},
        {"untimed", {}, "untimed: ageing event, level 3, 0 connections\n"},
        {"connections", {}, "connections: no ageing event, level 0, 1 connections\n"},
        {"three", {}, "has events of more than 2 phones, among them 'x' and 'z'; choose with --phone"},
        {"three", {"y"}, "y: ageing event of 1970-01-01 00:00:05 UTC, level 5, 0 connections\n"},
        {"three", {"w"}, "has no events of phone 'w'"},
        {"other", {}, "not a record that the daemon would keep"},
        {"units", {}, "contains no event that can be read"},
        {"none", {}, "none: No such file"},
    };
    for (const auto& row : rows) {
        EXPECT_THAT(load(row.path, row.phones), HasSubstr(row.expected)) << row.path;
    }
}

// Larger than what is in memory at once.
TEST_F(History, AStreamMayBeLargerThanMemory) {
    std::ostringstream stream;
    const PhoneEvent event = phone_event("a", 5, ageing_event(fresh_record()));
    size_t count = 0;
    for (; stream.tellp() < 17'000'000; count++) {
        write_event(stream, event);
    }
    write("large", stream.str());
    size_t found = 0;
    read_events((top / "large").string(), {}, [&](const PhoneEvent& other) { found += other.phone == "a" ? 1U : 0U; },
                [](const std::string& text) { ADD_FAILURE() << text; });
    EXPECT_EQ(found, count);
    EXPECT_THAT(load("large"), HasSubstr("a: ageing event of 1970-01-01 00:00:05 UTC"));
}

TEST(Text, OfStrangersCannotControlATerminal) {
    const struct {
        std::string text, shown;
    } rows[] = {
        {"PELLAMIR 5 %", "PELLAMIR 5 %"},    {"\x1b[2J\a\n\r\t\x7f", "\\x1B[2J\\x07\\x0A\\x0D\\x09\\x7F"},
        {std::string("a\0b", 3), "a\\x00b"}, {"\u00b0C \u20ac \U0001F50B", "\u00b0C \u20ac \U0001F50B"},
        {"\u009b31m", "\\x9B31m"},           {"abc\u202Ecba", "abc\\u202Ecba"},
        {"\xff\xc3", "\\xFF\\xC3"},          {"\xc0\x80\xe0\x80\x80\xf8", "\\xC0\\x80\\xE0\\x80\\x80\\xF8"},
        {"\xed\xa0\x80", "\\xED\\xA0\\x80"}, {"\xf4\x90\x80\x80\xe2\x82", "\\xF4\\x90\\x80\\x80\\xE2\\x82"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(printable(row.text), row.shown);
    }
    EXPECT_EQ(json_text("\xff\u009b\x7f\x1b"), R"("\ufffd\u009b\u007f\u001b")");
}

TEST(Json, IsRefusedWithItsPlace) {
    const auto nested = [](size_t levels) { return "\n" + std::string(levels, '[') + std::string(levels, ']'); };
    const struct {
        const char* rule;
        std::string text;
        const char* refusal;  // empty: accepted
    } rows[] = {
        {"100 levels", nested(100), ""},
        {"101 levels", nested(101), "f: line 2: expected at most 100 levels"},
        {"200,000 levels", nested(200'000), "f: line 2: expected at most 100 levels"},
        {"brackets in a text", "\"" + std::string(500, '[') + "\\\"" + std::string(500, '{') + "\"", ""},
        {"brackets side by side", "[" + std::string(500, ' ') + "[],[],{},[]]", ""},
        {"no value", "{\"a\":\n}", "f: line 2, column 1: syntax error while parsing value"},
        {"too large a number", "1e999", "f: number overflow parsing '1e999'"},
        {"invalid UTF-8", "\"\xff\"", "f: line 1, column 2: syntax error"},
    };
    for (const auto& row : rows) {
        try {
            (void)parse_document(row.text, "f");
            EXPECT_STREQ(row.refusal, "") << row.rule;
        } catch (const InputError& error) {
            EXPECT_THAT(error.what(), testing::StartsWith(row.refusal)) << row.rule;
            EXPECT_STRNE(row.refusal, "") << row.rule << ": " << error.what();
        }
    }
}

}  // namespace
}  // namespace cellwarden::decode
