// cellwarden-inspect of records and unit stores, as a script calls it.
#include <nlohmann/json.hpp>

#include "decode/record_layout.h"
#include "program.h"

namespace {

using namespace cellwarden;
using test::record_with, testing::HasSubstr;

class InspectTest : public test::ToolTest {
  protected:
    [[nodiscard]] std::string page_of(const BattStat& stat, const std::string& options = "") const {
        write("record", test::bytes_of(stat));
        return run(INSPECT " record record " + options).output;
    }
};

TEST_F(InspectTest, SaysWhatTheDaemonWouldMakeOfARecord) {
    for (const test::Row& row : table("verdicts.csv")) {
        std::string bytes = test::bytes_of(record_with(""));
        bytes.resize(std::stoul(row.at(1)), 'x');
        if (row.at(2) != "-") {
            bytes.at(std::stoul(row.at(2))) = static_cast<char>(std::stoul(row.at(3)));
        }
        write("record", bytes);
        const auto outcome = run(INSPECT " record - <record");
        EXPECT_EQ(outcome.exit_code, std::stoi(row.at(4))) << row.at(0);
        EXPECT_THAT(outcome.output.substr(0, 300), HasSubstr(row.at(5))) << row.at(0);
    }
}

// A change in each kind of number, in elements that only the right place, width and stride finds.
TEST_F(InspectTest, DifferencesHaveNamesAndUnitsThatPeopleRead) {
    write("a", test::bytes_of(record_with("soft_charge_override=210 fcc_mah[4]=4096 online_time=90400")));
    write("b", test::bytes_of(record_with(
                   "fcc_mah[4]=4660 online_time=90061 first_soh_time[8]=1767225600 thermal_range_stay_time[1]=61 "
                   "max_temp=-55 max_discharge_time[3]=1767225600 soft_charge_override=231 vt_cet_table[0]=74565 "
                   "ct_charge_table[16]=5000 arrhenius_lv[251]=3 total_full_stay_cap_degradation=15625 "
                   "user_soh_per_10days[12]=49000 dev_attach[4].count=7 dev_attach[11].total_time=8 "
                   "dev_attach[12].charge_count=9")));
    const auto outcome = run(INSPECT " diff a b");
    EXPECT_EQ(outcome.output, expected("record_differences.txt"));
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_EQ(run(INSPECT " diff a a").exit_code, 0);
}

TEST_F(InspectTest, MisuseEndsWith2AndSaysWhy) {
    write("fresh", test::bytes_of(record_with("")));
    write("erased", "\xff\xff\xff\xff");
    expect_refusals("inspect", INSPECT);
}

// Each table of the page: its heading, its rows and columns, and what is left out. Of the grids the two corners have
// counts, and one cell within.
TEST_F(InspectTest, ThePageShowsGridsChargersAndPeriods) {
    const std::string page = page_of(record_with(
        "fcc_mah[0]=4810 fcc_mah[1]=4800 vt_cet_table[0]=3600 vt_cet_table[671]=1800 ct_charge_table[40]=12345 "
        "dev_attach[8].count=3 dev_attach[8].total_time=7261 dev_attach[8].charge_count=25001 "
        "user_soh_per_10days[0]=50000 user_soh_per_10days[1]=49001 raw_soh_per_10days[0]=49700 "
        "filtered_soh_per_10days[0]=49900 predicted_soh_per_10days[0]=49800 arrhenius_per_10days[0]=70000 "
        "full_stay_capacity_degradation_per_10days[0]=123456 cycle_degradation_per_10days[0]=1000001 "
        "arrhenius_lv[0]=4 full_stay_capacity_degradation_aging_lv[0]=0 "
        "full_stay_capacity_degradation_aging_lv[1]=3"));
    for (const char* const part : {"  fcc_mah\n    [0]                                     4810 mAh\n"
                                   "    [1]                                     4800 mAh\n",
                                   "  max_temp                                  none yet\n",
                                   "    below 20 %                              not yet\n"}) {
        EXPECT_THAT(page, HasSubstr(part));
    }
    EXPECT_EQ(page.substr(page.find("vt_cet_table")), expected("record_page.txt"));
    EXPECT_THAT(page_of(record_with("")), HasSubstr("battery temperature\n  no counts yet\n"));
}

// A value that the daemon stores is not odd, the next one beyond is.
TEST_F(InspectTest, OdditiesAreOutsideTheRangeOfTheirUnit) {
    for (const test::Row& row : table("oddities.csv")) {
        const std::string page = page_of(record_with(row.at(1)));
        EXPECT_EQ(page.find("Odd:") == page.npos, row.at(2).empty()) << row.at(0);
        EXPECT_THAT(page, HasSubstr(row.at(2))) << row.at(0);
    }
}

TEST_F(InspectTest, JsonHasEveryFieldWithItsValueAndStoredForm) {
    const auto json =
        nlohmann::json::parse(page_of(record_with("latest_user_soh=49250 initialized_time=1767225600"), "--json"));
    EXPECT_EQ(json.at("verdict"), "accepted");
    const auto& fields = json.at("fields");
    EXPECT_EQ(fields.at("latest_user_soh").dump(), R"({"stored":49250,"unit":"%","value":98.5})");
    EXPECT_EQ(fields.at("version").at("value"), "5.2.4");
    EXPECT_EQ(fields.at("max_temp").dump(), R"({"stored":-32768,"unit":"degC","value":null})");
    EXPECT_EQ(fields.at("initialized_time").at("value"), "2026-01-01T00:00:00Z");
    EXPECT_EQ(fields.at("vt_cet_table").at("stored").size(), 672U);
    for (const auto& field : decode::record_fields()) {
        EXPECT_TRUE(fields.contains(field.name)) << field.name;
    }
}

// Each unit of the store: a content that is as it should be, and one of another size.
TEST_F(InspectTest, UnitStore) {
    const auto rows = table("units.csv");
    for (const test::Row& row : rows) {
        write("units/" + row.at(0), test::bytes_of_hex(row.at(1)));
    }
    write("units/2491", test::bytes_of(record_with("")));
    write("units/4711", "??");
    const auto sound = run(INSPECT " units units");
    EXPECT_EQ(sound.exit_code, 0) << sound.output;
    for (const test::Row& row : rows) {
        EXPECT_THAT(sound.output, HasSubstr(row.at(2)));
        write("units/" + row.at(0), test::bytes_of_hex(row.at(1)) + "1234");
        const auto longer = run(INSPECT " units units");
        const bool is_fixed = row.size() > 3;
        EXPECT_EQ(longer.exit_code, is_fixed ? 1 : 0) << row.at(0);
        EXPECT_THAT(longer.output, HasSubstr(is_fixed ? "bytes, expected " + row.at(3) + "\n" : "")) << row.at(0);
        write("units/" + row.at(0), test::bytes_of_hex(row.at(1)));
    }
    EXPECT_THAT(sound.output, HasSubstr("statistics record                9,728 bytes  accepted at the next start"));
    EXPECT_THAT(sound.output, HasSubstr("4711   unknown to the daemon                2 bytes"));
    write("units/2491", "\xff");
    EXPECT_EQ(run(INSPECT " units units").exit_code, 1);
}

}  // namespace
