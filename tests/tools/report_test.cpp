// The report in a real browser: it draws every chart, and the page shows the record's values.
#include <cstring>
#include <nlohmann/json.hpp>
#include <regex>
#include <utility>

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
    stat.latest_user_soh = 48'501;
    stat.latest_filtered_soh = 48'502;
    stat.latest_predicted_soh = 48'503;
    stat.latest_raw_soh = 48'504;
    stat.soft_charge_mode = 3;
    stat.total_full_stay_cap_degradation = 123'456;
    stat.total_cycle_degradation = 654'321;
    stat.soc_full_total_time = 3600;
    stat.jeita_warm_total_time = 7200;
    stat.max_temp = 412;
    stat.min_temp = -34;
    stat.max_cell_voltage = 4477;
    stat.soc0_shutdown_cnt = 9;
    stat.max_temp_time = 1'767'398'400;  // the days after
    stat.min_temp_time = 1'767'484'800;
    stat.max_cell_voltage_time = 1'767'571'200;
    stat.last_learning_time = 1'767'657'600;
    stat.initialized_time = 1'767'744'000;
    memcpy(stat.battery_model_name.data(), "PELLAMIR", 8);
    return test::bytes_of(stat);
}

int count(const std::string& text, const std::string& part) {
    int found = 0;
    for (size_t at = 0; (at = text.find(part, at)) != text.npos; at += part.size()) {
        found++;
    }
    return found;
}

// Returns the data that the page's script draws.
nlohmann::ordered_json data_of(const std::string& page) {
    const std::string start = "id=\"data\">";
    const size_t at = page.find(start) + start.size();
    return nlohmann::ordered_json::parse(page.substr(at, page.find("</script>", at) - at));
}

// Every table of the page: its heading, its columns with their units, and its rows.
TEST_F(ReportTest, TablesHoldTheRecord) {
    write("record", sample_record());
    ASSERT_EQ(run(REPORT " phone=record -o page").exit_code, 0);
    const std::string page = read("page");
    const auto data = data_of(page);
    EXPECT_EQ(data.at("subjects").dump(), R"([{"name":"phone"}])");
    std::string tables;
    for (nlohmann::ordered_json section : data.at("sections")) {
        tables += section.at("id").get<std::string>() + ": " + section.at("title").get<std::string>();
        char separator = '\n';
        for (const auto& column : section.at("columns")) {
            tables += std::exchange(separator, '|') + column.at("title").get<std::string>();
            tables += column.contains("unit") ? " [" + column.at("unit").get<std::string>() + "]" : "";
        }
        tables += "\n" + section.at("tables").at(0).dump() + "\n";
        for (const char* const shown : {"id", "title", "about", "columns", "tables"}) {
            section.erase(shown);
        }
        tables += section.dump() + "\n\n";  // the kind of the chart and its settings
    }
    EXPECT_EQ(tables, expected("report_tables.txt"));
    std::istringstream facts(expected("report_facts.txt"));
    for (std::string title, text; std::getline(facts, title, '|') && std::getline(facts, text);) {
        EXPECT_THAT(page, HasSubstr("<tr><th scope=\"row\">" + title + "</th><td>" + text + "</td></tr>"));
    }
}

#ifdef CHROMIUM

TEST_F(ReportTest, IsDrawnByABrowser) {
    write("record", sample_record());
    const auto made = run(REPORT " '<script>&=record' -o page.html");
    ASSERT_EQ(made.exit_code, 0) << made.output;
    (void)run(CHROMIUM
              " --headless --no-sandbox --disable-gpu --disable-quic --no-first-run "
              "--disable-background-networking --disable-component-update --disable-sync "
              "--user-data-dir=$PWD/browser --virtual-time-budget=30000 --dump-dom "
              "file://$PWD/page.html 2>/dev/null >dom");
    const std::string dom = read("dom");
    EXPECT_THAT(dom, HasSubstr("data-drawn=\"9\" data-errors=\"\" data-done=\"yes\""));
    EXPECT_EQ(count(dom, "<svg"), 9);
    // The cells drawn for the bins with a value.
    int cells = 0;
    for (size_t at = 0; (at = dom.find("role-mark cells\"", at)) != dom.npos; at++) {
        cells += count(dom.substr(at, dom.find("</g>", at) - at), "<path");
    }
    EXPECT_EQ(cells, 3);
    const std::string text = std::regex_replace(dom.substr(0, dom.find("<script type")), std::regex("(<[^>]*>)+"), "|");
    for (const char* const row :
         {"|10.0|100.000|99.800|99.600|99.400|1|1|0|–|", "|15.0|98.002|98.004|98.006|98.008|3|2|–|3|",
          "|0|70000|61033|60700|0.123456|0.183333|1.000001|", "|70 to 80|20 to 25|1.2345|",
          "|level 2|200.0001|200|10.00|", "|any|3456|2026-01-01T00:00:00Z|"}) {
        EXPECT_NE(text.find(row), text.npos) << row;
    }
}

#endif

TEST_F(ReportTest, NeedsNoOtherFiles) {
    write("run/units/2491", sample_record());
    write("run/series.csv", "date,online_days,true_soh\n2026-01-02,9.5,97.25\ncut,");
    ASSERT_EQ(run(REPORT " run -o page").exit_code, 0);
    const std::string page = read("page");
    const std::string markup = page.substr(0, page.find("<script>"));
    EXPECT_THAT(markup, HasSubstr("@media (prefers-color-scheme")) << "only @NAME@ is a placeholder";
    for (const char* const outside : {"src=", "href=", "@import", "url("}) {
        EXPECT_EQ(count(markup, outside), 0) << outside;
    }
    const auto soh = data_of(page).at("sections").at(0);
    EXPECT_EQ(soh.at("tables").at(0).at(0).dump(), "[10.0,100.0,99.8,99.6,99.4,97.25,1,1,0,null]");
    EXPECT_EQ(soh.at("columns").at(5).at("title"), "True (simulated)");
    write("run/units/2491", "\xff");
    const auto refused = run(REPORT " run -o -");
    EXPECT_EQ(refused.exit_code, 2);
    EXPECT_THAT(refused.output, HasSubstr("not a record that the daemon would keep"));
}

}  // namespace
