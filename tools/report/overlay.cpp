#include "tools/report/overlay.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>

#include "common/input.h"
#include "common/json_reader.h"
#include "state/facts.h"
#include "tools/report/csv.h"
#include "tools/report/section.h"

namespace cellwarden::report {
namespace {

namespace fs = std::filesystem;
using Document = nlohmann::json;
using nlohmann::ordered_json;

constexpr int64_t CHART_DAYS = 400;  // about; more than a chart has pixels help nobody

struct Quantity {
    const char* column;
    const char* title;
    bool has_steps;
};

// Columns of series.csv in the order of the page.
constexpr std::array QUANTITIES = {
    Quantity{"true_soh", "true state of health, %", false},
    Quantity{"user_soh", "user's state of health, %", false},
    Quantity{"predicted_soh", "predicted state of health, %", false},
    Quantity{"level", "battery-care level", true},
    Quantity{"full_charges", "charge put in, full charges", false},
    Quantity{"temp_mean_c", "mean temperature of the day, °C", false},
};

struct Run {
    std::string name;
    fs::path path;
};

Run run_of(const std::string& input) {
    const size_t equals = input.find('=');
    if (equals != std::string::npos && equals < input.find('/')) {
        return {input.substr(0, equals), input.substr(equals + 1)};
    }
    const fs::path path = fs::path(input).lexically_normal();
    return {path.has_filename() ? path.filename() : path.parent_path().filename(), input};
}

using DayRows = std::map<int64_t, size_t>;  // row by days since 1970

DayRows days_of(const Csv& series) {
    DayRows days;
    const size_t column = column_of(series, "date");
    for (size_t row = 0; row < series.rows.size(); row++) {
        struct tm utc = {};
        const std::string& date = series.rows[row][column];
        if (strptime(date.c_str(), "%Y-%m-%d", &utc) == nullptr) {
            throw InputError(series.path.string() + ": row " + std::to_string(row + 1) +
                             ", date: expected YEAR-MONTH-DAY, found " + date);
        }
        days[timegm(&utc) / SECONDS_PER_DAY] = row;
    }
    return days;
}

// Returns [day of life, value per run, difference from the first run per other run] for each day;
// null for a day that a run does not have.
ordered_json rows_of(const std::vector<Csv>& series, const std::vector<DayRows>& days,
                     const char* name) {
    std::vector<int64_t> starts;
    int64_t length = 0;
    std::vector<size_t> columns;
    for (size_t i = 0; i < series.size(); i++) {
        starts.push_back(days[i].begin()->first - 1);  // the first row ends the first day
        length = std::max(length, days[i].rbegin()->first - starts[i]);
        columns.push_back(column_of(series[i], name));
    }
    ordered_json rows = ordered_json::array();
    const int64_t step = length / CHART_DAYS + 1;
    for (int64_t day = 1; day <= length; day += step) {
        ordered_json row = ordered_json::array({day});
        for (size_t i = 0; i < series.size(); i++) {
            const auto found = days[i].find(starts[i] + day);
            row.push_back(found == days[i].end()
                              ? ordered_json()
                              : ordered_json(number_at(series[i], found->second, columns[i])));
        }
        for (size_t i = 1; i < series.size(); i++) {
            const bool has_both = !row[1].is_null() && !row[1 + i].is_null();
            row.push_back(has_both ? ordered_json(row[1 + i].get<double>() - row[1].get<double>())
                                   : ordered_json());
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

ordered_json overlay_section(const std::vector<Run>& runs) {
    std::vector<Csv> series;
    std::vector<DayRows> days;
    ordered_json columns = ordered_json::array({column("day", "Day of life")});
    ordered_json names = ordered_json::array();
    for (const Run& run : runs) {
        series.push_back(read_csv(run.path / "series.csv"));
        days.push_back(days_of(series.back()));
        if (days.back().empty()) {
            throw InputError(series.back().path.string() + ": has no rows");
        }
        names.push_back(run.name);
        columns.push_back(
            column(("run" + std::to_string(series.size() - 1)).c_str(), run.name.c_str(), "", 3));
    }
    for (size_t i = 1; i < runs.size(); i++) {
        columns.push_back(column(("difference" + std::to_string(i)).c_str(),
                                 (runs[i].name + " − " + runs[0].name).c_str(), "", 3));
    }
    ordered_json json = section("overlay", "overlay", "The runs over each other", "", columns);
    json["about"] = "Below each chart: the difference of each run from " + runs[0].name +
                    ", on the same day of life. All values are simulated.";
    json["runs"] = names;
    json["names"] = ordered_json::array();
    json["tables"] = ordered_json::array();
    json["steps"] = ordered_json::array();
    for (const Quantity& quantity : QUANTITIES) {
        json["names"].push_back(quantity.title);
        json["steps"].push_back(quantity.has_steps);
        json["tables"].push_back(rows_of(series, days, quantity.column));
    }
    return json;
}

// A number without the digits that say nothing, or the text, or "unknown".
std::string text_at(const Document& run, const char* pointer) {
    const Document::json_pointer place(pointer);
    if (!run.contains(place)) {
        return "unknown";
    }
    const Document& value = run.at(place);
    char text[32];
    if (value.is_number_float()) {
        (void)snprintf(text, sizeof text, "%.6g", value.get<double>());
        return text;
    }
    return value.is_string() ? value.get<std::string>() : value.dump();
}

ordered_json provenance_section(const std::vector<Run>& runs) {
    ordered_json columns = ordered_json::array({column("what", "What")});
    std::vector<Document> documents;
    for (const Run& run : runs) {
        const fs::path file = run.path / "run.json";
        const std::vector<uint8_t> bytes = read_input(file);
        documents.push_back(parse_document({bytes.begin(), bytes.end()}, file));
        columns.push_back(
            column(("run" + std::to_string(documents.size())).c_str(), run.name.c_str()));
    }
    ordered_json rows = ordered_json::array();
    for (const auto& [title, pointer] :
         {std::pair{"Simulated", "/simulated"}, std::pair{"Program", "/program"},
          std::pair{"Profile", "/profile"}, std::pair{"Digest of the profile", "/profile_digest"},
          std::pair{"Digest of the cell", "/cell_digest"}, std::pair{"Policy", "/policy/name"},
          std::pair{"Digest of the policy", "/policy/digest"}, std::pair{"Seed", "/seed"},
          std::pair{"Years asked", "/years_asked"}, std::pair{"Years lived", "/years_lived"}}) {
        ordered_json row = ordered_json::array({title});
        for (const Document& document : documents) {
            row.push_back(text_at(document, pointer));
        }
        rows.push_back(std::move(row));
    }
    ordered_json json = section("provenance", "table", "Where the runs come from",
                                "What the results of a run depend on.", columns);
    json["names"] = {"Runs"};
    json["tables"] = ordered_json::array({rows});
    return json;
}

}  // namespace

ordered_json run_sections(const std::vector<std::string>& inputs) {
    std::vector<Run> with_series;
    std::vector<Run> with_provenance;
    for (const std::string& input : inputs) {
        const Run run = run_of(input);
        if (fs::exists(run.path / "series.csv")) {
            with_series.push_back(run);
        }
        if (fs::exists(run.path / "run.json")) {
            with_provenance.push_back(run);
        }
    }
    ordered_json sections = ordered_json::array();
    if (!with_provenance.empty()) {
        sections.push_back(provenance_section(with_provenance));
    }
    if (with_series.size() > 1) {
        sections.push_back(overlay_section(with_series));
    }
    return sections;
}

}  // namespace cellwarden::report
