#include "tools/report/study_page.h"

#include <algorithm>
#include <array>
#include <map>
#include <nlohmann/json.hpp>

#include "common/input.h"
#include "common/json_reader.h"
#include "tools/report/csv.h"
#include "tools/report/page.h"
#include "tools/report/section.h"

namespace cellwarden::report {
namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

constexpr const char* BIAS = "predicted_minus_true_percent";

struct Outcome {
    const char* column;
    const char* title;
};

// Columns of outcomes.csv in the order of the page.
constexpr std::array OUTCOMES = {
    Outcome{"true_soh_percent", "true state of health, %"},
    Outcome{"shown_soh_percent", "shown state of health, %"},
    Outcome{"full_charge_mah", "usable full charge, mAh"},
    Outcome{"withheld_percent", "capacity withheld, %"},
    Outcome{"use_hours", "use of a full charge, h"},
    Outcome{"charge_minutes", "from 20 to 80 %, min"},
    Outcome{"times_empty", "times empty in the year"},
};
constexpr Outcome BIAS_OUTCOME = {BIAS, "predicted minus true, %"};

std::string text_of(const ordered_json& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

// Adds a table for a quantity: the rows of the summary's list about its column that have a value.
void add_table(ordered_json& section, const Outcome& quantity, const ordered_json& list) {
    ordered_json rows = ordered_json::array();
    for (const ordered_json& one : list) {
        const bool has_value =
            !one.value(section.at("bands").at("middle").get<std::string>(), ordered_json())
                 .is_null();
        if (one.at("column") == quantity.column && has_value) {
            ordered_json row = ordered_json::array();
            for (const auto& column : section.at("columns")) {
                row.push_back(one.value(column.at("name").get<std::string>(), ordered_json()));
            }
            rows.push_back(std::move(row));
        }
    }
    section["names"].push_back(quantity.title);
    section["tables"].push_back(std::move(rows));
}

ordered_json bands(const char* id, const char* title, const char* about) {
    ordered_json json =
        section(id, "bands", title, about,
                {column("policy", "Policy"), column("year", "Year"), column("p5", "5 %", "", 3),
                 column("p50", "50 %", "", 3), column("p95", "95 %", "", 3)});
    json["bands"] = {{"low", "p5"}, {"middle", "p50"}, {"high", "p95"}};
    return json;
}

ordered_json quantile_section(const ordered_json& summary) {
    ordered_json json = bands("quantiles", "Over the years",
                              "The line is the median phone; 5 % of the phones are below the band "
                              "and 5 % above it. A point is the end of a year.");
    for (const Outcome& quantity : OUTCOMES) {
        add_table(json, quantity, summary.at("quantiles"));
    }
    return json;
}

ordered_json bias_section(const ordered_json& summary) {
    ordered_json json = bands("bias", "Bias of the daemon's prediction",
                              "State of health that the daemon's models predict minus the true "
                              "one. Above 0 the daemon believes the battery to be better than it "
                              "is. Bands as above.");
    json["zero"] = true;
    add_table(json, BIAS_OUTCOME, summary.at("quantiles"));
    return json;
}

std::string first_policy(const ordered_json& summary) {
    return text_of(summary.at("policies").at(0).at("name"));
}

ordered_json difference_section(const ordered_json& summary) {
    ordered_json json = section(
        "differences", "bands", "Differences per phone", "",
        {column("policy", "Policy"), column("year", "Year"), column("low", "from", "", 3),
         column("mean", "Mean", "", 3), column("high", "to", "", 3), column("phones", "Phones")});
    json["about"] = "Each policy minus " + first_policy(summary) +
                    ", for the same phones: the mean and its 95 % interval. An interval without 0 "
                    "is a difference that the study can tell from chance.";
    json["bands"] = {{"low", "low"}, {"middle", "mean"}, {"high", "high"}};
    json["zero"] = true;
    for (const Outcome& quantity : OUTCOMES) {
        add_table(json, quantity, summary.at("differences"));
    }
    add_table(json, BIAS_OUTCOME, summary.at("differences"));
    return json;
}

// What a phone has under a policy at the end of its last year.
struct Life {
    double true_soh = 0;
    double withheld_sum = 0;
    int years = 0;
    [[nodiscard]] double withheld() const { return withheld_sum / years; }
};

// Returns [policy, phone, profile, withheld, gained] of each phone under each policy but the first;
// withheld as the summary has it, the mean over the years.
ordered_json points_of(const Csv& outcomes, const std::string& first) {
    const size_t phone = column_of(outcomes, "phone");
    const size_t policy = column_of(outcomes, "policy");
    const size_t profile = column_of(outcomes, "profile");
    const size_t health = column_of(outcomes, "true_soh_percent");
    const size_t withheld = column_of(outcomes, "withheld_percent");
    std::map<std::pair<std::string, std::string>, Life> lives;  // by phone and policy
    std::vector<std::vector<std::string>> order;
    for (size_t i = 0; i < outcomes.rows.size(); i++) {
        const std::vector<std::string>& row = outcomes.rows[i];
        Life& life = lives[{row[phone], row[policy]}];
        if (life.years == 0 && row[policy] != first) {
            order.push_back(row);
        }
        life.true_soh = number_at(outcomes, i, health);
        life.withheld_sum += number_at(outcomes, i, withheld);
        life.years++;
    }
    ordered_json points = ordered_json::array();
    for (const std::vector<std::string>& row : order) {
        const Life& life = lives.at({row[phone], row[policy]});
        const auto reference = lives.find({row[phone], first});
        if (reference == lives.end()) {
            throw InputError(outcomes.path.string() + ": phone " + row[phone] + " has no life of " +
                             first);
        }
        points.push_back({row[policy], row[phone], row[profile],
                          life.withheld() - reference->second.withheld(),
                          life.true_soh - reference->second.true_soh});
    }
    return points;
}

ordered_json decision_section(const ordered_json& summary, const Csv& outcomes) {
    ordered_json json =
        section("decision", "decision", "Gained against withheld", "",
                {column("policy", "Policy"), column("year", "After year"),
                 column("withheld", "Withheld", "%", 3), column("withheld_low", "from", "", 3),
                 column("withheld_high", "to", "", 3), column("gained", "Gained", "points", 3),
                 column("gained_low", "from", "", 3), column("gained_high", "to", "", 3),
                 column("mah", "Usable full charge", "mAh", 1), column("mah_low", "from", "", 1),
                 column("mah_high", "to", "", 1)});
    json["about"] = "Against " + first_policy(summary) +
                    ". Each point is a phone after the last year: the capacity that the policy "
                    "withheld from its user, and the true state of health that it gained. The "
                    "crosses are means with their 95 % intervals. High and left is better.";
    ordered_json rows = ordered_json::array();
    for (const auto& one : summary.at("gained_and_withheld")) {
        ordered_json row = {one.at("policy"), one.at("year")};
        for (const char* const key : {"withheld_percent", "gained_percent", "full_charge_mah"}) {
            for (const char* const part : {"mean", "low", "high"}) {
                row.push_back(one.at(key).at(part));
            }
        }
        rows.push_back(std::move(row));
    }
    json["names"] = {"All phones"};
    json["tables"] = ordered_json::array({rows});
    json["points"] = points_of(outcomes, first_policy(summary));
    return json;
}

ordered_json loser_section(const ordered_json& summary) {
    ordered_json columns = {column("phone", "Phone"), column("profile", "Profile"),
                            column("mah", "Usable full charge", "mAh", 1),
                            column("gained", "True health", "points", 3)};
    for (const auto& [name, distribution] : summary.at("varies").items()) {
        columns.push_back(column(name.c_str(), name.c_str(), "", 3));
    }
    ordered_json json = section("lose_most", "table", "Phones that lose most",
                                "The phones with the largest loss of usable full charge after the "
                                "last year, what they gained for it, and what their users and "
                                "cells are like.",
                                columns);
    json["names"] = ordered_json::array();
    json["tables"] = ordered_json::array();
    for (const auto& policy : summary.at("lose_most")) {
        ordered_json rows = ordered_json::array();
        for (const auto& phone : policy.at("phones")) {
            ordered_json row = {phone.at("phone"), phone.at("profile"), phone.at("full_charge_mah"),
                                phone.at("gained_percent")};
            for (size_t i = row.size(); i < columns.size(); i++) {
                row.push_back(phone.at("traits").at(columns[i].at("name").get<std::string>()));
            }
            rows.push_back(std::move(row));
        }
        json["names"].push_back(text_of(policy.at("policy")) + " against " +
                                text_of(policy.at("against")));
        json["tables"].push_back(std::move(rows));
    }
    return json;
}

ordered_json above_80_section(const ordered_json& summary) {
    ordered_json json =
        section("above_80", "table", "Phones above 80 %",
                "Share of the phones with a true state of health above 80 %.",
                {column("policy", "Policy"), column("year", "Year"), column("share", "Share")});
    ordered_json rows = ordered_json::array();
    for (const auto& one : summary.at("above_80")) {
        rows.push_back({one.at("policy"), one.at("year"), one.at("share")});
    }
    json["names"] = {"After three and five years"};
    json["tables"] = ordered_json::array({rows});
    return json;
}

FactColumn provenance_of(const ordered_json& summary, const Csv& outcomes) {
    double lived = 0;
    const size_t year = column_of(outcomes, "year");
    for (size_t i = 0; i < outcomes.rows.size(); i++) {
        lived = std::max(lived, number_at(outcomes, i, year));
    }
    FactColumn column{text_of(summary.at("study")), {}};
    const auto add = [&](const std::string& title, const ordered_json& value) {
        column.second.emplace_back(title, text_of(value));
    };
    add("Question", summary.at("about"));
    add("Origin", summary.value("simulated", false) ? "simulated" : "not marked as simulated");
    add("Program", summary.at("program"));
    add("Digest of the study", summary.at("digest"));
    add("Phones", summary.at("phones"));
    add("Seed", summary.at("seed"));
    add("Years asked, lived", summary.at("years").dump() + ", " + ordered_json(lived).dump());
    add("Reference load", summary.at("reference_load_ma").dump() + " mA");
    for (const ordered_json& policy : summary.at("policies")) {
        add("Policy " + text_of(policy.at("name")), policy.at("digest"));
    }
    for (const ordered_json& profile : summary.at("profiles")) {
        add("Profile " + text_of(profile.at("name")) + ", weight " + profile.at("weight").dump(),
            profile.at("digest"));
    }
    std::map<std::string, std::string> cells;
    for (const ordered_json& profile : summary.at("profiles")) {
        if (profile.contains("cell")) {
            cells[text_of(profile.at("cell"))] = text_of(profile.at("cell_digest"));
        }
    }
    for (const auto& [name, digest] : cells) {
        add("Cell " + name, digest);
    }
    return column;
}

}  // namespace

bool is_study(const fs::path& path) {
    return fs::exists(path / "summary.json") && fs::exists(path / "outcomes.csv");
}

std::string study_page_of(const fs::path& directory, const std::string& title) {
    const fs::path file = directory / "summary.json";
    const std::vector<uint8_t> bytes = read_input(file);
    const ordered_json summary = parse_document({bytes.begin(), bytes.end()}, file);
    const Csv outcomes = read_csv(directory / "outcomes.csv");
    try {
        ordered_json sections = ordered_json::array();
        const bool has_several = summary.at("policies").size() > 1;
        if (has_several) {
            sections.push_back(decision_section(summary, outcomes));
        }
        sections.push_back(quantile_section(summary));
        if (has_several) {
            sections.push_back(difference_section(summary));
        }
        sections.push_back(bias_section(summary));
        if (!summary.at("above_80").empty()) {
            sections.push_back(above_80_section(summary));
        }
        if (has_several) {
            sections.push_back(loser_section(summary));
        }
        return page_of(title, {provenance_of(summary, outcomes)}, std::move(sections));
    } catch (const ordered_json::exception& error) {
        throw InputError(file.string() + ": not the summary of a study: " + error.what());
    }
}

}  // namespace cellwarden::report
