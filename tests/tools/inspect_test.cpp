// cellwarden-inspect with records and unit stores, as a script calls it.
#include <nlohmann/json.hpp>

#include "decode/record_layout.h"
#include "program.h"
#include "support/rows.h"

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

TEST_F(InspectTest, ReportsHowTheDaemonWouldLoadARecord) {
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
         "9,727 bytes, expected 9,728: it ends at offset 0x25FF, in reserved bytes"},
        {"truncated in a field", good.substr(0, 0x2321), 1, "0x2321, in filtered_soh_per_10days[144]"},
        {"truncated in an entry", good.substr(0, 0x0F14), 1, "in dev_attach_total_time[1]"},
        {"one byte too long", good + "x", 1, "bytes follow it from offset 0x2600"},
        {"three bytes", good.substr(0, 3), 1, "3 bytes, expected at least 4 for marker and version"},
        {"empty", "", 1, "0 bytes"},
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

// Changes in each kind of number, in elements that require the correct offset, width and stride.
TEST_F(InspectTest, DifferencesHaveReadableNamesAndUnits) {
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
    BattStat before;
    reset_batt_stat(before);
    before.soft_charge_override = 0xD2;
    before.fcc_mah[4] = 0x1000;
    before.online_time = 86'400 + 4000;
    write("a", test::bytes_of(before));
    write("b", test::bytes_of(stat));
    EXPECT_EQ(run(INSPECT " diff a b").output, expected("record_differences.txt"));
    EXPECT_EQ(run(INSPECT " diff a b").exit_code, 1);
    EXPECT_EQ(run(INSPECT " diff a a").exit_code, 0);
}

TEST_F(InspectTest, MisuseEndsWith2AndTheReason) {
    write("a", fresh_record());
    write("erased", "\xff\xff\xff\xff");
    const struct {
        const char* arguments;
        const char* message;
    } rows[] = {
        {"diff a erased", "erased: not a record that the daemon would keep"},
        {"diff a", "file"},
        {"record absent", "absent: No such file"},
        {"record a >/dev/full", "standard output"},
        {"surely-not", "A subcommand is required"},
        {"units absent", "absent: No such file"},
    };
    for (const auto& row : rows) {
        const auto outcome = run(INSPECT + std::string(" ") + row.arguments);
        EXPECT_EQ(outcome.exit_code, 2) << row.arguments;
        EXPECT_THAT(outcome.output, HasSubstr(row.message)) << row.arguments;
    }
}

// Each table of the page: its heading, its rows and columns, and the omitted ones.
TEST_F(InspectTest, ThePageShowsGridsChargersAndPeriods) {
    BattStat stat;
    reset_batt_stat(stat);
    stat.fcc_mah = {4810, 4800, 0, 0, 0};
    stat.vt_cet_table[0] = 3600;                // above 4.54 V and 60 degC
    stat.vt_cet_table[41 * 16 + 15] = 1800;     // the other corner
    stat.ct_charge_table[2 * 16 + 8] = 12'345;  // 70 to 80 %, 20 to 25 degC
    stat.dev_attach[8] = {3, 7261, 25'001, 0};
    stat.user_soh_per_10days = {50'000, 49'001};
    stat.raw_soh_per_10days = {49'700};
    stat.filtered_soh_per_10days = {49'900};
    stat.predicted_soh_per_10days = {49'800};
    stat.arrhenius_per_10days = {70'000};
    stat.full_stay_capacity_degradation_per_10days = {123'456};
    stat.cycle_degradation_per_10days = {1'000'001};
    stat.arrhenius_lv = {4, 255};
    stat.full_stay_capacity_degradation_aging_lv = {0, 3};
    write("record", test::bytes_of(stat));
    const std::string page = run(INSPECT " record record").output;
    EXPECT_THAT(page, HasSubstr("  fcc_mah\n    [0]                                     4810 mAh\n"
                                "    [1]                                     4800 mAh\n"));
    EXPECT_THAT(page, HasSubstr("  max_temp                                  none yet\n"));
    EXPECT_THAT(page, HasSubstr("    below 20 %                              not yet\n"));
    EXPECT_EQ(page.substr(page.find("vt_cet_table")), expected("record_page.txt"));
    write("record", fresh_record());
    const std::string fresh = run(INSPECT " record record").output;
    EXPECT_THAT(fresh, HasSubstr("battery temperature\n  no counts yet\n"));
    EXPECT_THAT(fresh, HasSubstr("  no counts yet\n"));
}

// The largest value that the daemon stores is not odd, the next one is.
TEST_F(InspectTest, OdditiesAreOutsideTheRangeOfTheirUnit) {
    const struct {
        const char* name;
        void (*set)(BattStat&);
        const char* odd;  // the reported value; empty: none
    } rows[] = {
        {"full state of health", [](BattStat& s) { s.latest_user_soh = 50'000; }, ""},
        {"above full state of health", [](BattStat& s) { s.latest_user_soh = 50'001; },
         "0x0038, latest_user_soh: 50001"},
        {"a raw state of health may be above full",
         [](BattStat& s) { s.latest_raw_soh = s.raw_soh_per_10days[3] = 50'001; }, ""},
        {"level 5", [](BattStat& s) { s.arrhenius_lv[2] = 5; }, ""},
        {"level 6", [](BattStat& s) { s.arrhenius_lv[2] = 6; }, "0x1402, arrhenius_lv[2]: 6"},
        {"online time in 31 bits", [](BattStat& s) { s.online_time = INT32_MAX; }, ""},
        {"a milestone", [](BattStat& s) { s.soft_charge1_onlinetime[1] = uint64_t{1} << 31; },
         "soft_charge1_onlinetime[1]: 2147483648"},
        {"first valid time, 2017", [](BattStat& s) { s.initialized_time = 1'483'228'800; }, ""},
        {"before 2017", [](BattStat& s) { s.initialized_time = 1'483'228'799; }, "initialized_time: 1483228799"},
    };
    for (const auto& row : rows) {
        BattStat stat;
        reset_batt_stat(stat);
        row.set(stat);
        write("record", test::bytes_of(stat));
        const std::string page = run(INSPECT " record record").output;
        EXPECT_EQ(page.find("Odd:") == page.npos, *row.odd == '\0') << row.name;
        EXPECT_THAT(page, HasSubstr(row.odd)) << row.name;
    }
}

TEST_F(InspectTest, JsonHasEveryFieldWithItsValueAndStoredForm) {
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
    EXPECT_EQ(bytes, sizeof(BattStat)) << "fields and reserved bytes cover the record";
}

// Each unit of the store, with valid content and with content of another size.
TEST_F(InspectTest, UnitStore) {
    const auto rows = test::values_of(TOOLS_TESTS "/units.csv");
    const auto content = [](const test::Row& row) {
        std::string bytes;
        for (size_t i = 0; i < row.at(1).size(); i += 2) {
            bytes.push_back(static_cast<char>(std::stoul(row.at(1).substr(i, 2), nullptr, 16)));
        }
        return bytes;
    };
    for (const test::Row& row : rows) {
        write("units/" + row.at(0), content(row));
    }
    write("units/2491", fresh_record());
    write("units/4711", "??");
    const auto sound = run(INSPECT " units units");
    EXPECT_EQ(sound.exit_code, 0) << sound.output;
    for (const test::Row& row : rows) {
        EXPECT_THAT(sound.output, HasSubstr(row.at(2)));
    }
    EXPECT_THAT(sound.output, HasSubstr("statistics record                9,728 bytes  accepted at the next start"));
    EXPECT_THAT(sound.output, HasSubstr("4711   unknown to the daemon                2 bytes"));
    for (const test::Row& row : rows) {
        write("units/" + row.at(0), content(row) + "1234");
        const auto longer = run(INSPECT " units units");
        EXPECT_EQ(longer.exit_code, row.size() > 3 ? 1 : 0) << row.at(0);
        if (row.size() > 3) {
            EXPECT_THAT(longer.output, HasSubstr("bytes, expected " + row.at(3) + "\n")) << row.at(0);
        }
        write("units/" + row.at(0), content(row));
    }
    write("units/2491", "\xff");
    EXPECT_EQ(run(INSPECT " units units").exit_code, 1);
}

}  // namespace
