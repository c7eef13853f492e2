// cellwarden-inspect of records and unit stores, as a script calls it.
#include <nlohmann/json.hpp>

#include "decode/record_layout.h"
#include "program.h"

namespace {

using namespace cellwarden;
using testing::HasSubstr;
using InspectTest = test::ToolTest;

std::string fresh_record() {
    BattStat stat;
    reset_batt_stat(stat);
    return test::bytes_of(stat);
}

std::string changed(std::string bytes, size_t offset, char value) {
    bytes.at(offset) = value;
    return bytes;
}

TEST_F(InspectTest, says_what_the_daemon_would_make_of_a_record) {
    const std::string good = fresh_record();
    const struct {
        const char* name;
        std::string bytes;
        int exit_code;
        const char* text;
    } rows[] = {
        {"current", good, 0, "accepted: layout version 5.2.4"},
        {"5.2.3", changed(good, 3, 3), 0, "upgraded: layout version 5.2.3 at offset 0x0001"},
        {"5.2.5", changed(good, 3, 5), 1, "reset: layout version 5.2.5 at offset 0x0001"},
        {"erased", changed(good, 0, '\xff'), 1, "marker at offset 0x0000 is 0xFF"},
        {"never written", changed(good, 0, 0), 1, "marker at offset 0x0000 is 0x00"},
        {"one byte short", good.substr(0, good.size() - 1), 1,
         "9,727 bytes, a record has 9,728: it ends at offset 0x25FF, in reserved bytes"},
        {"cut in a field", good.substr(0, 0x2321), 1, "0x2321, in filtered_soh_per_10days[144]"},
        {"cut in an entry", good.substr(0, 0x0F14), 1, "in dev_attach_total_time[1]"},
        {"one byte long", good + "x", 1, "bytes follow it from offset 0x2600"},
        {"three bytes", good.substr(0, 3), 1, "3 bytes, and marker and version alone take 4"},
        {"empty", "", 1, "no bytes at all"},
        {"reserved byte", changed(good, 0x2C, 9), 0, "Odd: offset 0x002C, reserved bytes: 9"},
        {"level of 77", changed(good, 0x1400, 77), 0, "Odd: offset 0x1400, arrhenius_lv[0]: 77"},
    };
    for (const auto& row : rows) {
        write("record", row.bytes);
        const auto outcome = run(INSPECT " record - <record");
        EXPECT_EQ(outcome.exit_code, row.exit_code) << row.name;
        EXPECT_THAT(outcome.output.substr(0, 300), HasSubstr(row.text)) << row.name;
    }
}

// A change in each kind of number, in elements that only the right place, width and stride finds.
TEST_F(InspectTest, differences_have_names_and_units_that_people_read) {
    BattStat stat;
    reset_batt_stat(stat);
    stat.fcc_mah[4] = 0x1234;
    stat.online_time = 86'400 + 3661;
    stat.first_soh_time[8] = 1'767'225'600;
    stat.thermal_range_stay_time[1] = 61;
    stat.max_temp = -55;
    stat.max_discharge_time[3] = 1'767'225'600;
    stat.soft_charge_override = 0xE7;
    stat.vt_cet_table[0] = 0x12345;
    stat.ct_charge_table[16] = 5000;
    stat.arrhenius_lv[251] = 3;
    stat.total_full_stay_cap_degradation = 15'625;
    stat.user_soh_per_10days[12] = 49'000;
    stat.dev_attach[4].dev_attach_count = 7;
    stat.dev_attach[11].dev_attach_total_time = 8;
    stat.dev_attach[12].dev_charge_count = 9;
    write("a", changed(fresh_record(), offsetof(BattStat, soft_charge_override), '\xD2'));
    write("b", test::bytes_of(stat));
    EXPECT_EQ(run(INSPECT " diff a b").output, R"(fcc_mah[4]: 0 mAh -> 4660 mAh  (+4660)
online_time: 0 -> 1 d 01:01:01  (+1 d 01:01:01)
first_soh_time[8] (below 20 %): not yet -> 2026-01-01 00:00:00 UTC
vt_cet_table[0] (above 4.54 V, above 60 degC): 0 -> 0 d 20:42:45  (+0 d 20:42:45)
ct_charge_table[16] (80 to 90 %, above 60 degC): 0.0000 full charges -> 0.5000 full charges  (+0.5)
thermal_range_stay_time[1] (thermal levels 1 to 12): 0 -> 0 d 00:01:01  (+0 d 00:01:01)
max_temp: none yet -> -5.5 degC
max_discharge_time[3] (below 0 degC, below 3.5 V): not yet -> 2026-01-01 00:00:00 UTC
soft_charge_override: 0xD2, the driver is given level 2 -> 0xE7, soft charge is suspended
dev_attach_count[4] (class 4, type 7, 8, 9): 0 -> 7  (+7)
dev_attach_total_time[11] (class 11, type 15, 16, over 65 W): 0 -> 0 d 00:00:08  (+0 d 00:00:08)
dev_charge_count[12] (class 12, not assigned): 0.0000 full charges -> 0.0009 full charges  (+0.0009)
arrhenius_lv[251] (10 days from day 2510): not decided -> 3
total_full_stay_cap_degradation: 0.000000 % -> 0.015625 %  (+0.015625)
user_soh_per_10days[12] (10 days from day 120): 0.000 % -> 98.000 %  (+98)
)");
    write("none", "\xff\xff\xff\xff");
    EXPECT_EQ(run("for arguments in 'diff a b' 'diff a a' 'diff a none' 'record absent' surely-not; do " INSPECT
                  " $arguments >out 2>&1; echo $?; done; " INSPECT " record a 2>out >/dev/full; echo $?")
                  .output,
              "1\n0\n2\n2\n2\n2\n");
}

TEST_F(InspectTest, json_has_every_field_with_its_value_and_stored_form) {
    BattStat stat;
    reset_batt_stat(stat);
    stat.latest_user_soh = 49'250;
    stat.initialized_time = 1'767'225'600;
    write("record", test::bytes_of(stat));
    const auto json = nlohmann::json::parse(run(INSPECT " record --json record").output);
    EXPECT_EQ(json.at("verdict"), "accepted");
    const auto& fields = json.at("fields");
    EXPECT_EQ(fields.at("latest_user_soh").dump(), R"({"stored":49250,"unit":"%","value":98.5})");
    EXPECT_EQ(fields.at("version").at("value"), "5.2.4");
    EXPECT_EQ(fields.at("max_temp").dump(), R"({"stored":-32768,"unit":"degC","value":null})");
    EXPECT_EQ(fields.at("initialized_time").at("value"), "2026-01-01T00:00:00Z");
    EXPECT_EQ(fields.at("vt_cet_table").at("stored").size(), 672U);
    size_t bytes = 0;
    for (const auto& field : decode::record_fields()) {
        EXPECT_TRUE(fields.contains(field.name)) << field.name;
        bytes += field.count * field.element_size;
    }
    for (const auto& gap : decode::reserved_bytes()) {
        bytes += gap.size;
    }
    EXPECT_EQ(bytes, sizeof(BattStat)) << "fields and reserved bytes make up the record";
}

TEST_F(InspectTest, unit_store) {
    write("units/2491", fresh_record());
    write("units/2805", std::string("\x5a\0", 2));
    write("units/4711", "?");
    const auto sound = run(INSPECT " units units");
    EXPECT_EQ(sound.exit_code, 0);
    EXPECT_THAT(sound.output, AllOf(HasSubstr("2 bytes  90 %"), HasSubstr("4711   not the daemon's")));
    write("units/2310", "short");
    const auto faulty = run(INSPECT " units units");
    EXPECT_EQ(faulty.exit_code, 1);
    EXPECT_THAT(faulty.output, HasSubstr("wrong size: 5 bytes, the daemon wants 8"));
}

}  // namespace
