// The report in a real browser: every chart is drawn, and what the page shows is the record's.
#include "program.h"

namespace {

using namespace cellwarden;
using testing::HasSubstr;
using ReportTest = test::ToolTest;

std::string sample_record() {
    BattStat stat;
    reset_batt_stat(stat);
    stat.online_time = 864'000 + 432'000;  // 15 days
    stat.total_cycle_count = 2'000'001;
    stat.soft_charge1_onlinetime = {864'000 / 2, 864'001, 0, 0, 0};
    stat.user_soh_per_10days = {50'000, 49'001};
    stat.filtered_soh_per_10days = {49'900, 49'002};
    stat.predicted_soh_per_10days = {49'800, 49'003};
    stat.raw_soh_per_10days = {49'700, 49'004};
    stat.arrhenius_per_10days = {70'000, 12'345};
    stat.full_stay_capacity_degradation_per_10days = {123'456, 7};
    stat.cycle_degradation_per_10days = {1'000'001, 8};
    stat.arrhenius_lv[0] = 0;
    stat.full_stay_capacity_degradation_aging_lv[1] = 3;
    stat.vt_cet_table[0] = 3600;                // above 4.54 V and 60 degC
    stat.vt_cet_table[41 * 16 + 15] = 1800;     // the other corner
    stat.ct_charge_table[2 * 16 + 8] = 12'345;  // 70 to 80 %, 20 to 25 degC
    stat.dev_attach[8] = {3, 7200, 25'000, 0};
    stat.max_discharge_current = 3456;
    stat.max_discharge_time[0] = 1'767'225'600;  // 2026-01-01
    stat.total_discharge_time[7] = 900;
    stat.first_soh_time[0] = 1'767'312'000;  // 2026-01-02
    return test::bytes_of(stat);
}

#ifdef CHROMIUM

TEST_F(ReportTest, shows_the_values_of_the_record_in_a_browser) {
    write("record", sample_record());
    const auto made = run(REPORT " '<script>&=record' -o page.html");
    ASSERT_EQ(made.exit_code, 0) << made.output;
    (void)run(CHROMIUM
              " --headless --no-sandbox --disable-gpu --disable-quic --no-first-run "
              "--disable-background-networking --disable-component-update --disable-sync "
              "--user-data-dir=$PWD/browser --virtual-time-budget=30000 --dump-dom "
              "file://$PWD/page.html 2>/dev/null >dom");
    EXPECT_THAT(run("grep '<body' dom").output, HasSubstr("data-drawn=\"9\" data-errors=\"\" data-done=\"yes\""));
    // The charts, and the cells that are drawn for the bins that were reached.
    EXPECT_EQ(run("grep -o '<svg' dom | wc -l; "
                  "grep -Eo 'role-mark cells\"[^>]*>(<path[^>]*></path>)*' dom | grep -o '<path' | wc -l")
                  .output,
              "9\n3\n");
    const std::string text = run("sed -E '/<script type/,$d; s/(<[^>]*>)+/ | /g' dom").output;
    for (const char* const rows : {
             "10.0 | 100.000 | 99.800 | 99.600 | 99.400 | 1 | 1 | 0 | – | "
             "15.0 | 98.002 | 98.004 | 98.006 | 98.008 | 3 | 2 | – | 3 | ",
             "0 | 70000 | 61033 | 60700 | 0.123456 | 0.183333 | 1.000001 | "
             "10 | 12345 | 61033 | 60700 | 0.000007 | 0.166704 | 0.000008 | ",
             " | above 4.54 | above 60 | 1.000 | up to 3.00 | up to -10 | 0.500 | ",
             " | 70 to 80 | 20 to 25 | 1.2345 | ",
             " | level 1 | 200.0001 | 100 | 5.00 | level 2 | 200.0001 | 200 | 10.00 | level 3 | 200.0001 | 400 | – | "
             "level 4 | 200.0001 | 1100 | – | level 5 | 200.0001 | 1300 | – | ",
             " | class 8, type 15, 16, up to 30 W | 2.000 | 3 | 2.5000 | ",
             " | any | 3456 | 2026-01-01T00:00:00Z | ",
             " | over 2 A, below 0 degC, below 3.8 V | 0.250 | ",
             " | largest discharge (any), 3456 mA | 2026-01-01T00:00:00Z | "
             "state of health below 95 % | 2026-01-02T00:00:00Z | ",
         }) {
        EXPECT_NE(text.find(rows), text.npos) << rows;
    }
}

#endif

TEST_F(ReportTest, needs_nothing_beside_its_page) {
    write("run/units/2491", sample_record());
    write("run/series.csv", "date,online_days,true_soh\n2026-01-02,9.5,97.25\ncut,");
    EXPECT_EQ(run(REPORT " run -o page >out; sed '/<script>/,$d' page | grep -cE '(src|href)=|@import|url\\('; "
                         "grep -cF '[10.0,100.0,99.8,99.6,99.4,97.25,1,1,0,null]' page")
                  .output,
              "0\n1\n");
    write("run/units/2491", "\xff");
    const auto refused = run(REPORT " run -o -");
    EXPECT_EQ(refused.exit_code, 2);
    EXPECT_THAT(refused.output, HasSubstr("no record that the daemon would keep"));
}

}  // namespace
