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
    (void)run(CHROMIUM
              " --headless --no-sandbox --disable-gpu --disable-quic --no-first-run "
              "--disable-background-networking --disable-component-update --disable-sync "
              "--user-data-dir=$PWD/browser --virtual-time-budget=30000 --dump-dom "
              "file://$PWD/page.html 2>/dev/null >dom");
    const std::string dom = read("dom");
    EXPECT_THAT(dom, HasSubstr("data-drawn=\"9\" data-errors=\"\" data-done=\"yes\""));
    EXPECT_EQ(count(dom, "<svg"), 9);
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
