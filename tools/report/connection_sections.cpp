#include "tools/report/connection_sections.h"

#include <algorithm>
#include <array>
#include <map>
#include <nlohmann/json.hpp>

#include "common/text.h"
#include "decode/reading.h"
#include "state/facts.h"
#include "tools/report/section.h"

namespace cellwarden::report {
namespace {

using decode::Connection;
using nlohmann::ordered_json;

constexpr double UV_PER_V = 1e6;
constexpr size_t MOST_ROWS = 2000;    // of single connections: the newest
constexpr size_t MOST_CHARGERS = 12;  // kinds of chargers; the others are summed up
constexpr const char* OTHER_CHARGERS = "other chargers";

struct Total {
    size_t connections = 0;
    uint64_t attached_s = 0;
    double gained_percent = 0;  // sum over the connections whose charge is known at both ends
    size_t gains = 0;
    size_t hot = 0;
    std::array<uint64_t, THERMAL_LEVEL_COUNT> thermal_level_s{};
};

using Totals = std::map<std::string, Total>;

std::string charger_name(const Connection& connection) {
    return connection.charger.empty() ? "not named" : printable(connection.charger);
}

// The daemon sends 0 if a state of charge is not known.
ordered_json known(uint64_t percent) {
    return percent == 0 ? ordered_json() : ordered_json(percent);
}

bool has_gain(const Connection& connection) {
    return connection.from_percent != 0 && connection.to_percent != 0;
}

void add(Total& total, const Connection& connection) {
    total.connections++;
    total.attached_s += connection.attached_s;
    total.hot += connection.was_hot ? 1 : 0;
    if (has_gain(connection)) {
        total.gained_percent += static_cast<double>(connection.to_percent) -
                                static_cast<double>(connection.from_percent);
        total.gains++;
    }
    for (size_t i = 0; i < connection.thermal_level_s.size(); i++) {
        total.thermal_level_s[i] += connection.thermal_level_s[i];
    }
}

// Returns the names of the kinds with the longest times over all subjects, the longest first.
std::vector<std::string> charger_names(const std::vector<Subject>& subjects) {
    std::map<std::string, uint64_t> seconds;
    for (const Subject& subject : subjects) {
        for (const Connection& connection : subject.battery.connections) {
            seconds[charger_name(connection)] += connection.attached_s;
        }
    }
    std::vector<std::pair<std::string, uint64_t>> sorted(seconds.begin(), seconds.end());
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& a, const auto& b) { return a.second > b.second; });
    std::vector<std::string> names;
    for (const auto& [name, time] : sorted) {
        names.push_back(names.size() < MOST_CHARGERS ? name : OTHER_CHARGERS);
        if (names.size() > MOST_CHARGERS) {
            break;
        }
    }
    return names;
}

std::string shown_name(const Connection& connection, const std::vector<std::string>& names) {
    const std::string name = charger_name(connection);
    return std::find(names.begin(), names.end(), name) == names.end() ? OTHER_CHARGERS : name;
}

Totals totals_of(const Subject& subject, const std::vector<std::string>& names) {
    Totals totals;
    for (const Connection& connection : subject.battery.connections) {
        add(totals[shown_name(connection, names)], connection);
    }
    return totals;
}

template <typename RowsOf>
ordered_json filled(ordered_json section, const std::vector<Subject>& subjects,
                    const RowsOf& rows_of) {
    section["tables"] = ordered_json::array();
    section["notes"] = ordered_json::array();
    for (const Subject& subject : subjects) {
        section["tables"].push_back(rows_of(subject));
        section["notes"].push_back("");
    }
    return section;
}

ordered_json connection_row(const Connection& connection, const std::vector<std::string>& names) {
    const ordered_json date =
        connection.time_s ? decode::reading_json(decode::FieldUnit::WALL_S, *connection.time_s)
                          : ordered_json();
    return {date,
            shown_name(connection, names),
            static_cast<double>(connection.attached_s) / SECONDS_PER_HOUR,
            known(connection.from_percent),
            known(connection.to_percent),
            connection.level_from,
            connection.level_to,
            connection.was_protected ? "yes" : "no",
            connection.was_hot ? "yes" : "no",
            static_cast<double>(connection.max_battery_uv) / UV_PER_V,
            static_cast<double>(connection.max_input_uv) / UV_PER_V,
            connection.input_limits};
}

ordered_json list_section(const std::vector<Subject>& subjects,
                          const std::vector<std::string>& names) {
    ordered_json json = section(
        "connections", "connections", "Charger connections",
        "Each connection from the charge at insertion to the charge at removal, at the time of its "
        "event. A ring marks connections at whose end the phone was at its highest thermal level. "
        "A connection of several days has several events; a charge of 0 % may also mean that it is "
        "not known, and is left out. At most the newest 2,000 connections are shown.",
        {column("date", "Reported"), column("charger", "Charger"),
         column("hours", "Attached", "h", 2), column("from", "From", "%"), column("to", "To", "%"),
         column("level_from", "Level at insertion"), column("level_to", "Level at removal"),
         column("protected", "Smart charging"), column("hot", "Highest thermal level"),
         column("battery_v", "Highest battery voltage", "V", 3),
         column("input_v", "Highest input voltage", "V", 2), column("limits", "Input limits")});
    json["chargers"] = names;
    return filled(std::move(json), subjects, [&](const Subject& subject) {
        const auto& connections = subject.battery.connections;
        const size_t first = connections.size() - std::min(connections.size(), MOST_ROWS);
        ordered_json rows = ordered_json::array();
        for (size_t i = first; i < connections.size(); i++) {
            rows.push_back(connection_row(connections[i], names));
        }
        return rows;
    });
}

ordered_json kind_section(const std::vector<Subject>& subjects,
                          const std::vector<std::string>& names) {
    ordered_json json =
        section("connection_kinds", "bars", "Connections by charger",
                "Time attached per kind of charger, as the driver names it. The "
                "table also has the mean length and the mean charge gained.",
                {column("charger", "Charger"), column("hours", "Attached", "h", 2),
                 column("count", "Connections"), column("mean", "Mean length", "h", 2),
                 column("gained", "Mean gain", "%", 1), column("hot", "Of them hot")});
    json["bars"] = bars("charger", "hours", "hours attached", ",.1f");
    return filled(std::move(json), subjects, [&](const Subject& subject) {
        ordered_json rows = ordered_json::array();
        for (const auto& [name, total] : totals_of(subject, names)) {
            const double hours = static_cast<double>(total.attached_s) / SECONDS_PER_HOUR;
            rows.push_back(
                {name, hours, total.connections, hours / static_cast<double>(total.connections),
                 total.gains == 0
                     ? ordered_json()
                     : ordered_json(total.gained_percent / static_cast<double>(total.gains)),
                 total.hot});
        }
        return rows;
    });
}

ordered_json thermal_section(const std::vector<Subject>& subjects,
                             const std::vector<std::string>& names) {
    ordered_json json =
        section("connection_heat", "heat", "Heat while attached",
                "Hours at each thermal level of the system per kind of charger. The shades are "
                "logarithmic; cells without a shade were never reached.",
                {column("charger", "Charger"), column("level", "Thermal level"),
                 column("hours", "Time", "h", 3)});
    ordered_json levels = ordered_json::array();
    for (size_t i = 0; i < THERMAL_LEVEL_COUNT; i++) {
        levels.push_back(std::to_string(i));
    }
    json["heat"] = {{"y", {{"column", "charger"}, {"title", ""}, {"bins", names}}},
                    {"x", {{"column", "level"}, {"title", "thermal level"}, {"bins", levels}}},
                    {"z", {{"column", "hours"}, {"title", "hours"}}}};
    return filled(std::move(json), subjects, [&](const Subject& subject) {
        ordered_json rows = ordered_json::array();
        for (const auto& [name, total] : totals_of(subject, names)) {
            for (size_t i = 0; i < total.thermal_level_s.size(); i++) {
                if (total.thermal_level_s[i] != 0) {
                    rows.push_back(
                        {name, std::to_string(i),
                         static_cast<double>(total.thermal_level_s[i]) / SECONDS_PER_HOUR});
                }
            }
        }
        return rows;
    });
}

}  // namespace

std::vector<ordered_json> connection_sections_of(const std::vector<Subject>& subjects) {
    const std::vector<std::string> names = charger_names(subjects);
    return {list_section(subjects, names), kind_section(subjects, names),
            thermal_section(subjects, names)};
}

}  // namespace cellwarden::report
