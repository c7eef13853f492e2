// cellwarden-inspect as a script calls it.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "program.h"

namespace {

using namespace cellwarden;
using namespace cellwarden::test;

BattStat sample_record() {
    BattStat stat;
    reset_batt_stat(stat);
    stat.online_time = 2 * 864'000 + 5;
    stat.latest_user_soh = 49'250;
    stat.total_cycle_count = 123'456;
    stat.dev_attach[8] = {3, 7200, 25'000, 0};
    return stat;
}

std::string changed(std::string bytes, size_t offset, char value) {
    bytes.at(offset) = value;
    return bytes;
}

Outcome inspect(const std::string& arguments) {
    return run_line(command(INSPECT) + arguments);
}

TEST(Inspect, says_what_the_daemon_would_make_of_a_record) {
    const TestDirectory directory;
    const std::string good = bytes_of(sample_record());
    const struct {
        const char* name;
        std::string bytes;
        int exit_code;
        const char* text;
    } rows[] = {
        {"current", good, 0, "accepted: layout version 5.2.4"},
        {"5.2.3", changed(good, 3, 3), 0, "upgraded: layout version 5.2.3 at offset 0x0001"},
        {"5.2.5", changed(good, 3, 5), 1, "reset: layout version 5.2.5 at offset 0x0001"},
        {"5.3.4", changed(good, 2, 3), 1, "reset: layout version 5.3.4"},
        {"erased", changed(good, 0, '\xff'), 1, "marker at offset 0x0000 is 0xFF"},
        {"never written", changed(good, 0, 0), 1, "marker at offset 0x0000 is 0x00"},
        {"one byte short", good.substr(0, good.size() - 1), 1,
         "9,727 bytes, a record has 9,728: it ends at offset 0x25FF, in reserved bytes"},
        {"cut in a field", good.substr(0, 0x2321), 1, "0x2321, in filtered_soh_per_10days[144]"},
        {"one byte long", good + "x", 1, "bytes follow it from offset 0x2600"},
        {"three bytes", good.substr(0, 3), 1, "3 bytes, and marker and version alone take 4"},
        {"empty", "", 1, "no bytes at all"},
        {"reserved byte", changed(good, 0x2C, 9), 0, "Odd: offset 0x002C, reserved bytes: 9"},
        {"level of 77", changed(good, 0x1400, 77), 0, "Odd: offset 0x1400, arrhenius_lv[0]: 77"},
    };
    for (const auto& row : rows) {
        directory.write("record", row.bytes);
        const Outcome outcome = inspect("record - <" + directory.path("record"));
        EXPECT_EQ(outcome.exit_code, row.exit_code) << row.name;
        EXPECT_NE(outcome.output.find(row.text), std::string::npos)
            << row.name << ": " << outcome.output.substr(0, 300);
    }
}

TEST(Inspect, json_has_every_field_with_its_value_and_stored_form) {
    const TestDirectory directory;
    directory.write("record", bytes_of(sample_record()));
    const Outcome outcome = inspect("record --json " + directory.path("record"));
    const auto json = nlohmann::json::parse(outcome.output);
    EXPECT_EQ(json.at("verdict"), "accepted");
    const auto& fields = json.at("fields");
    EXPECT_EQ(fields.at("latest_user_soh").dump(), R"({"stored":49250,"unit":"%","value":98.5})");
    EXPECT_EQ(fields.at("version").at("value"), "5.2.4");
    EXPECT_EQ(fields.at("max_temp").at("stored"), -32768);
    EXPECT_TRUE(fields.at("max_temp").at("value").is_null());
    EXPECT_EQ(fields.at("dev_attach_total_time").at("stored").at(8), 7200);
    EXPECT_EQ(fields.at("vt_cet_table").at("stored").size(), 672U);
}

TEST(Inspect, differences_and_their_exit_codes) {
    const TestDirectory directory;
    BattStat later = sample_record();
    later.total_cycle_count += 10'000;
    later.first_soh_time[0] = 1'767'225'600;
    directory.write("a", bytes_of(sample_record()));
    directory.write("b", bytes_of(later));
    directory.write("none", "\xff\xff\xff\xff");
    const Outcome same = inspect("diff " + directory.path("a") + " " + directory.path("a"));
    EXPECT_EQ(same.exit_code, 0);
    EXPECT_EQ(same.output, "");
    const Outcome differ = inspect("diff " + directory.path("a") + " " + directory.path("b"));
    EXPECT_EQ(differ.exit_code, 1);
    EXPECT_EQ(differ.output,
              "first_soh_time[0] (below 95 %): not yet -> 2026-01-01 00:00:00 UTC\n"
              "total_cycle_count: 12.3456 full charges -> 13.3456 full charges  (+1)\n");
    EXPECT_EQ(inspect("diff " + directory.path("a") + " " + directory.path("none")).exit_code, 2);
    EXPECT_EQ(inspect("record " + directory.path("absent")).exit_code, 2);
    EXPECT_EQ(inspect("surely-not").exit_code, 2);
}

TEST(Inspect, unit_store) {
    const TestDirectory directory;
    directory.write("units/2491", bytes_of(sample_record()));
    directory.write("units/2319", "\x07");
    directory.write("units/2805", std::string("\x5a\0", 2));
    directory.write("units/4711", "?");
    const Outcome sound = inspect("units " + directory.path("units"));
    EXPECT_EQ(sound.exit_code, 0) << sound.output;
    EXPECT_NE(sound.output.find("2 bytes  90 %"), std::string::npos) << sound.output;
    EXPECT_NE(sound.output.find("4711   not the daemon's"), std::string::npos) << sound.output;
    directory.write("units/2310", "short");
    const Outcome faulty = inspect("units " + directory.path("units"));
    EXPECT_EQ(faulty.exit_code, 1);
    EXPECT_NE(faulty.output.find("wrong size: 5 bytes, the daemon wants 8"), std::string::npos) << faulty.output;
}

TEST(Inspect, an_outbox_becomes_a_line_per_event) {
    const TestDirectory directory;
    const std::string event("\x08\x02\x12\x02PD", 6);
    directory.write("outbox/20260301T071245Z-0002-charging-ChargerInsertionRemoval", event);
    directory.write("outbox/20260301T071244Z-0001-charging-ChargerInsertionRemoval", "\x80");
    const Outcome outcome =
        run_line("cd " + directory.path("") + " && " + command(INSPECT) + "event --json-lines outbox 2>/dev/null");
    EXPECT_EQ(outcome.exit_code, 1);  // one of the two is none
    EXPECT_EQ(outcome.output, R"({"file":"outbox/20260301T071245Z-0002-charging-ChargerInsertionRemoval",)"
                              R"("time":"2026-03-01T07:12:45Z","event":"ChargerInsertionRemoval",)"
                              R"("version":2,"charger_type":"PD"})"
                              "\n");
}

}  // namespace
