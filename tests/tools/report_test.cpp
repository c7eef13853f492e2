// The report in a real browser: every chart is drawn, and what the page shows is the record's.
#include <gtest/gtest.h>

#include <regex>

#include "program.h"

namespace {

using namespace cellwarden;
using namespace cellwarden::test;

BattStat sample_record() {
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
    return stat;
}

// What stands between two texts, from `at` on, which moves behind it; nothing where they are
// absent.
std::string between(const std::string& text, const std::string& start, const std::string& end, size_t& at) {
    const size_t first = text.find(start, at);
    const size_t last = first == std::string::npos ? first : text.find(end, first);
    if (last == std::string::npos) {
        return "";
    }
    at = last;
    return text.substr(first + start.size(), last - first - start.size());
}

// The cells of the table behind a section's chart, row by row.
std::string table_of(const std::string& dom, const std::string& section) {
    size_t at = 0;
    const std::string part = between(dom, "<section id=\"" + section + "\">", "</section>", at);
    at = 0;
    const std::string body = between(part, "<tbody>", "</tbody>", at);
    const std::regex cell("<t[hd][^>]*>([^<]*)</t[hd]>");
    std::string table;
    at = 0;
    for (std::string row; !(row = between(body, "<tr>", "</tr>", at)).empty();) {
        for (std::sregex_iterator c(row.begin(), row.end(), cell), end; c != end; ++c) {
            table += (*c)[1].str() + " | ";
        }
        table += "\n";
    }
    return table;
}

#ifdef CHROMIUM

std::string browser_dom(const TestDirectory& directory, const std::string& page) {
    return run_line(CHROMIUM
                    " --headless --no-sandbox --disable-gpu --disable-quic --no-first-run "
                    "--disable-background-networking --disable-component-update --disable-sync "
                    "--user-data-dir=" +
                    directory.path("browser") + " --virtual-time-budget=30000 --dump-dom file://" +
                    directory.path(page) + " 2>/dev/null")
        .output;
}

size_t count(const std::string& text, const std::string& part) {
    size_t found = 0;
    for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at++) {
        found++;
    }
    return found;
}

TEST(Report, shows_the_values_of_the_record_in_a_browser) {
    const TestDirectory directory;
    directory.write("record", bytes_of(sample_record()));
    const Outcome made =
        run_line(command(REPORT) + "\"<script>&=" + directory.path("record") + "\" -o " + directory.path("page.html"));
    ASSERT_EQ(made.exit_code, 0) << made.output;
    const std::string dom = browser_dom(directory, "page.html");
    EXPECT_NE(dom.find("data-drawn=\"9\" data-errors=\"\" data-done=\"yes\""), std::string::npos)
        << dom.substr(dom.find("<body"), 500);
    EXPECT_EQ(count(dom, "<svg"), 9U);

    const struct {
        const char* section;
        const char* table;
    } rows[] = {
        {"soh",
         "10.0 | 100.000 | 99.800 | 99.600 | 99.400 | 1 | 1 | 0 | – | \n"
         "15.0 | 98.002 | 98.004 | 98.006 | 98.008 | 3 | 2 | – | 3 | \n"},
        {"ageing",
         "0 | 70000 | 61033 | 60700 | 0.123456 | 0.183333 | 1.000001 | \n"
         "10 | 12345 | 61033 | 60700 | 0.000007 | 0.166704 | 0.000008 | \n"},
        {"voltage",
         "above 4.54 | above 60 | 1.000 | \n"
         "up to 3.00 | up to -10 | 0.500 | \n"},
        {"charge", "70 to 80 | 20 to 25 | 1.2345 | \n"},
        {"throughput",
         "level 1 | 200.0001 | 100 | 5.00 | \n"
         "level 2 | 200.0001 | 200 | 10.00 | \n"
         "level 3 | 200.0001 | 400 | – | \n"
         "level 4 | 200.0001 | 1100 | – | \n"
         "level 5 | 200.0001 | 1300 | – | \n"},
        {"chargers", "class 8, type 15, 16, up to 30 W | 2.000 | 3 | 2.5000 | \n"},
        {"currents", "any | 3456 | 2026-01-01T00:00:00Z | \n"},
        {"discharge", "over 2 A, below 0 degC, below 3.8 V | 0.250 | \n"},
        {"milestones",
         "largest discharge (any), 3456 mA | 2026-01-01T00:00:00Z | \n"
         "state of health below 95 % | 2026-01-02T00:00:00Z | \n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(table_of(dom, row.section), row.table) << row.section;
    }
    // What is drawn: a cell for each of the three bins that were reached.
    const std::regex cells("role-mark cells\"[^>]*>((?:<path[^>]*></path>)*)");
    size_t drawn = 0;
    for (std::sregex_iterator at(dom.begin(), dom.end(), cells), end; at != end; ++at) {
        drawn += count((*at)[1], "<path");
    }
    EXPECT_EQ(drawn, 3U);
}

#endif

TEST(Report, needs_nothing_beside_its_page) {
    const TestDirectory directory;
    directory.write("run/units/2491", bytes_of(sample_record()));
    directory.write("run/series.csv", "date,online_days,true_soh\n2026-01-02,9.5,97.25\ncut,");
    const Outcome page = run_line(command(REPORT) + directory.path("run") + " -o -");
    ASSERT_EQ(page.exit_code, 0);
    EXPECT_FALSE(std::regex_search(page.output.substr(0, page.output.find("<script>")),
                                   std::regex("(src|href)=|@import|url\\(")));
    EXPECT_NE(page.output.find("[10.0,100.0,99.8,99.6,99.4,97.25,1,1,0,null]"), std::string::npos);
    directory.write("run/units/2491", "\xff");
    const Outcome refused = run_line(command(REPORT) + directory.path("run") + " -o -");
    EXPECT_EQ(refused.exit_code, 2);
    EXPECT_NE(refused.output.find("no record that the daemon would keep"), std::string::npos);
}

}  // namespace
