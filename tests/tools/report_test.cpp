// The report in a real browser: every chart is drawn, and what the page shows is the record's.
#include <nlohmann/json.hpp>
#include <utility>

#include "program.h"

namespace {

using namespace cellwarden;
using testing::HasSubstr;
using Json = nlohmann::ordered_json;

int count(const std::string& text, const std::string& part) {
    int found = 0;
    for (size_t at = 0; (at = text.find(part, at)) != text.npos; at += part.size()) {
        found++;
    }
    return found;
}

std::string between(const std::string& text, const std::string& start, const std::string& end) {
    const size_t at = text.find(start) + start.size();
    return text.substr(at, text.find(end, at) - at);
}

class ReportTest : public test::ToolTest {
  protected:
    // A page about a directory or a record, and the data that its script draws.
    [[nodiscard]] std::string page_of(const std::string& arguments) const {
        const auto made = run(REPORT " " + arguments + " -o page.html");
        EXPECT_EQ(made.exit_code, 0) << made.output;
        return read("page.html");
    }
    static Json data_of(const std::string& page) { return Json::parse(between(page, "id=\"data\">", "</script>")); }

#ifdef CHROMIUM
    // The page as a browser has drawn it; no error of the page or of the browser about it.
    [[nodiscard]] std::string drawn(int charts) const {
        (void)run(CHROMIUM
                  " --headless --no-sandbox --disable-gpu --disable-quic --no-first-run "
                  "--disable-background-networking --disable-component-update --disable-sync "
                  "--user-data-dir=$PWD/browser --virtual-time-budget=30000 --enable-logging=stderr --dump-dom "
                  "file://$PWD/page.html 2>console >dom");
        EXPECT_EQ(count(read("console"), "CONSOLE"), 0) << read("console");
        const std::string dom = read("dom");
        EXPECT_THAT(dom, HasSubstr("data-drawn=\"" + std::to_string(charts) + "\" data-errors=\"\" data-done=\"yes\""));
        EXPECT_EQ(count(dom, "<svg"), charts);
        return dom;
    }
#else
    [[nodiscard]] static std::string drawn(int /*charts*/) {
        return "";
    }
#endif

    const std::string sample = [] {
        BattStat stat = test::record_with(expected("report_record.txt"));
        std::string("PELLAMIR").copy(stat.battery_model_name.data(), stat.battery_model_name.size());
        return test::bytes_of(stat);
    }();
};

// Every table of the page: its heading, its columns with their units, its rows, and the settings of its chart.
TEST_F(ReportTest, TablesHoldTheRecord) {
    write("record", sample);
    const std::string page = page_of("phone=record");
    const Json data = data_of(page);
    EXPECT_EQ(data.at("subjects").dump(), R"([{"name":"phone"}])");
    std::string tables;
    for (Json section : data.at("sections")) {
        tables += section.at("id").get<std::string>() + ": " + section.at("title").get<std::string>();
        char separator = '\n';
        for (const auto& column : section.at("columns")) {
            tables += std::exchange(separator, '|') + column.at("title").get<std::string>();
            tables += column.contains("unit") ? " [" + column.at("unit").get<std::string>() + "]" : "";
        }
        tables += "\n" + section.at("tables").at(0).dump() + "\n";
        for (const char* const shown : {"id", "title", "about", "columns", "tables", "notes"}) {
            section.erase(shown);
        }
        tables += section.dump() + "\n\n";
    }
    EXPECT_EQ(tables, expected("report_tables.txt"));
    for (const test::Row& row : test::rows_of(TOOLS_TESTS "/report_facts.txt", '|')) {
        EXPECT_THAT(page, HasSubstr("<tr><th scope=\"row\">" + row.at(0) + "</th><td>" + row.at(1) + "</td></tr>"));
    }
}

// An outbox alone: the newest ageing event, what it lacks, and the connections.
TEST_F(ReportTest, AnOutboxIsEnough) {
    for (const test::Row& row : table("report_events.csv")) {
        const std::string& file = row.at(0);
        write(file, "");
        EXPECT_EQ(run("echo '" + row.at(1) + "' | " PROTOC " --encode=charging." + file.substr(file.rfind('-') + 1) +
                      " -I" PROTO_FOLDER " charging.proto >" + file)
                      .output,
                  "");
    }
    const std::string page = page_of("phone/outbox");
    EXPECT_THAT(page, HasSubstr("<th scope=\"col\">phone</th>"));
    EXPECT_THAT(page, HasSubstr("<td>ageing event of 2026-03-02 00:00:00 UTC</td>"));
    EXPECT_THAT(page, HasSubstr("soft_charge_mode: 9 is outside the range"));
    EXPECT_THAT(page, HasSubstr("<th scope=\"row\">Online time</th><td>not in the event</td>"));
    std::string tables;
    const Json data = data_of(page);
    for (const Json& section : data.at("sections")) {
        tables += section.at("id").get<std::string>() + ": " + section.at("notes").at(0).get<std::string>() +
                  section.at("tables").at(0).dump() + "\n";
    }
    EXPECT_EQ(tables, expected("report_events.txt"));
}

TEST_F(ReportTest, ColumnsAreNamedByWhatTellsThemApart) {
    for (const char* const path : {"x/a/units/2491", "x/b/units/2491", "y/a/units/2491", "2491"}) {
        write(path, sample);
    }
    const struct {
        const char *inputs, *names;
    } rows[] = {
        {"2491", "2491"},
        {"x/a/units/2491", "a"},
        {"x/a/units/2491 x/b/units/2491", "a,b"},
        {"x/a/units/2491 y/a/units/2491", "x,y"},
        {"x/a/units x/b", "a,b"},
        {"x/a x/b y/a", "x/a,x/b,y/a"},
        {"x/a/units/2491 2491 after=x/b/units/2491", "a,2491,after"},
        {"x/a x/a", "x/a,x/a"},
    };
    for (const auto& row : rows) {
        std::string names;
        const Json data = data_of(page_of(row.inputs));
        for (const Json& subject : data.at("subjects")) {
            names += (names.empty() ? "" : ",") + subject.at("name").get<std::string>();
        }
        EXPECT_EQ(names, row.names) << row.inputs;
    }
}

#ifdef CHROMIUM

TEST_F(ReportTest, IsDrawnByABrowser) {
    write("record", sample);
    (void)page_of("'<script>&=record'");
    const std::string dom = drawn(9);
    int cells = 0;  // drawn for the bins that were reached
    for (size_t at = 0; (at = dom.find("role-mark cells\"", at)) != dom.npos; at++) {
        cells += count(dom.substr(at, dom.find("</g>", at) - at), "<path");
    }
    EXPECT_EQ(cells, 3);
    std::string text;  // of the page, with a bar for each run of tags
    for (size_t at = 0; at < dom.find("<script type"); at++) {
        const bool is_tag = dom[at] == '<';
        text += is_tag ? '|' : dom[at];
        for (; dom[at] == '<'; at = dom.find('>', at) + 1) {
        }
        at -= is_tag ? 1 : 0;
    }
    for (const test::Row& row : test::rows_of(TOOLS_TESTS "/report_drawn.txt")) {
        EXPECT_NE(text.find(row.at(0)), text.npos) << row.at(0);
    }
}

#endif

// The page of a study: where it comes from, and its charts as they are in its files.
TEST_F(ReportTest, ShowsAStudy) {
    write("care/summary.json", expected("report_study.json"));
    write("care/outcomes.csv", expected("report_outcomes.csv"));
    const std::string page = page_of("care");
    for (const test::Row& row : test::rows_of(TOOLS_TESTS "/report_study_facts.txt", '|')) {
        EXPECT_THAT(page, HasSubstr("<tr><th scope=\"row\">" + row.at(0) + "</th><td>" + row.at(1) + "</td></tr>"));
    }
    std::string tables;
    const Json data = data_of(page);
    for (const Json& section : data.at("sections")) {
        for (size_t i = 0; i < section.at("tables").size(); i++) {
            if (const Json& rows = section.at("tables").at(i); !rows.empty()) {
                tables += section.at("id").get<std::string>() + "; " + section.at("names").at(i).get<std::string>() +
                          "; " + rows.dump() + "\n";
            }
        }
        tables += section.contains("points") ? "points; " + section.at("points").dump() + "\n" : "";
    }
    EXPECT_EQ(tables, expected("report_study_tables.txt"));
    (void)drawn(4);
    write("care/summary.json", "{}");
    EXPECT_THAT(run(REPORT " care -o -").output, HasSubstr("care/summary.json: not the summary of a study"));
}

// Runs are drawn over each other by the day of their lives, with differences from the first.
TEST_F(ReportTest, OverlaysRuns) {
    const std::string names = "date,online_days,true_soh,user_soh,predicted_soh,level,full_charges,temp_mean_c\n";
    write("a/units/2491", sample);
    write("a/run.json", R"({"program": "cellwarden 9", "seed": 7, "policy": {"name": "bare", "digest": "d1"}})");
    write("a/series.csv", names + "2026-01-02,1,99.5,100,99.25,0,0.5,20\n2026-01-04,2,98.5,99,98.25,1,1.5,21\n");
    write("b/units/2491", sample);
    write("b/run.json", R"({"policy": {"digest": "d2"}, "years_asked": 3.0})");
    write("b/series.csv", names +
                              "2027-02-01,1,99,100,99,0,0.5,20\n2027-02-02,1,9,9,9,0,9,9\n"
                              "2027-02-03,2,99,99,98,2,1.5,21\n2027-02-0");
    std::map<std::string, Json> sections;
    const Json data = data_of(page_of("a \"that's<b\\\"=b\""));
    for (const Json& section : data.at("sections")) {
        sections[section.at("id")] = section;
    }
    const Json& overlay = sections.at("overlay");
    EXPECT_EQ(overlay.at("tables").at(0).dump(), "[[1,99.5,99.0,-0.5],[2,null,9.0,null],[3,98.5,99.0,0.5]]");
    EXPECT_EQ(overlay.at("tables").at(3).dump(), "[[1,0.0,0.0,0.0],[2,null,0.0,null],[3,1.0,2.0,1.0]]");
    EXPECT_EQ(overlay.at("columns").at(3).at("title"), "that's<b\" − a");
    const std::string provenance = sections.at("provenance").at("tables").dump();
    for (const char* const row : {R"(["Program","cellwarden 9","unknown"])", R"(["Digest of the policy","d1","d2"])",
                                  R"(["Seed","7","unknown"])", R"(["Years asked","unknown","3"])"}) {
        EXPECT_THAT(provenance, HasSubstr(row));
    }
    (void)drawn(24);
    write("b/series.csv", names + "2027-02-01,1,99,?,99,0,0.5,20\n");
    EXPECT_THAT(run(REPORT " a b -o -").output, HasSubstr("b/series.csv"));
}

TEST_F(ReportTest, NeedsNothingBesideItsPage) {
    write("run/units/2491", sample);
    write("run/series.csv", "date,online_days,true_soh\n2026-01-02,9.5,97.25\ncut,");
    const std::string page = page_of("run");
    const std::string markup = page.substr(0, page.find("<script>"));
    EXPECT_THAT(markup, HasSubstr("@media (prefers-color-scheme")) << "only @NAME@ marks a text to insert";
    for (const char* const outside : {"src=", "href=", "@import", "url("}) {
        EXPECT_EQ(count(markup, outside), 0) << outside;
    }
    const Json soh = data_of(page).at("sections").at(0);
    EXPECT_EQ(soh.at("tables").at(0).at(0).dump(), "[10.0,100.0,99.8,99.6,99.4,97.25,1,1,0,null]");
    EXPECT_EQ(soh.at("columns").at(5).at("title"), "True (simulated)");
    write("run/units/2491", "\xff");
    expect_refusals("report", REPORT);
}

}  // namespace
