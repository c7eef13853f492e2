#include "tools/report/sections.h"

#include <algorithm>
#include <array>
#include <functional>
#include <nlohmann/json.hpp>

#include "decode/labels.h"
#include "decode/reading.h"
#include "decode/record_layout.h"
#include "state/facts.h"
#include "tools/report/connection_sections.h"
#include "tools/report/milestones.h"
#include "tools/report/section.h"

namespace cellwarden::report {
namespace {

using decode::FieldUnit;
using nlohmann::ordered_json;

constexpr double UNITS_PER_CHARGE = 1e4;
constexpr double MICROPERCENT = 1e6;
constexpr size_t PERIOD_DAYS = 10;
constexpr uint8_t NOT_DECIDED = 0xFF;

using Rows = std::function<ordered_json(const Subject&)>;

using FieldNames = std::vector<std::string_view>;

bool is_missing(const Subject& subject, std::string_view field) {
    const FieldNames& missing = subject.battery.missing;
    return std::find(missing.begin(), missing.end(), field) != missing.end();
}

std::string list_of(const FieldNames& names) {
    std::string list;
    for (const std::string_view name : names) {
        list += (list.empty() ? "" : ", ") + std::string(name);
    }
    return list;
}

// Adds a table for each subject. A subject whose source lacks some of the `fields` that the rows
// are made from has no rows, and a note instead.
ordered_json filled(ordered_json section, const std::vector<Subject>& subjects,
                    const FieldNames& fields, const Rows& rows) {
    section["tables"] = ordered_json::array();
    section["notes"] = ordered_json::array();
    for (const Subject& subject : subjects) {
        FieldNames missing = fields;
        std::erase_if(missing, [&](std::string_view field) { return !is_missing(subject, field); });
        section["tables"].push_back(missing.empty() ? rows(subject) : ordered_json::array());
        section["notes"].push_back(missing.empty() ? "" : "Not in the event: " + list_of(missing));
    }
    return section;
}

// Returns the number of periods that have begun.
size_t period_count(const BattStat& stat) {
    const size_t begun = stat.online_time == 0 ? 0 : stat.online_time / PERIOD_S + 1;
    return std::min<size_t>(begun, PERIOD_COUNT);
}

// Returns the day of online time at which the period ended or the record was stored.
double last_day(const BattStat& stat, size_t period) {
    return std::min(static_cast<double>((period + 1) * PERIOD_DAYS),
                    static_cast<double>(stat.online_time) / SECONDS_PER_DAY);
}

// Soft charge did not run in a period without a number.
ordered_json health(uint16_t half_units) {
    return half_units == 0 ? ordered_json()
                           : ordered_json(decode::reading_number(FieldUnit::HALF_SOH, half_units));
}

ordered_json decided(uint8_t level) {
    return level == NOT_DECIDED ? ordered_json() : ordered_json(level);
}

// Returns the highest level whose charge throughput was reached by `day`.
int throughput_level(const BattStat& stat, double day) {
    int level = 0;
    for (size_t i = 0; i < stat.soft_charge1_onlinetime.size(); i++) {
        const uint64_t reached_s = stat.soft_charge1_onlinetime[i];
        if (reached_s != 0 && static_cast<double>(reached_s) <= day * SECONDS_PER_DAY) {
            level = static_cast<int>(i) + 1;
        }
    }
    return level;
}

int level_in_force(const BattStat& stat, size_t period, int by_throughput) {
    int level = by_throughput;
    for (const uint8_t decision :
         {stat.arrhenius_lv[period], stat.full_stay_capacity_degradation_aging_lv[period]}) {
        level = decision == NOT_DECIDED ? level : std::max(level, int{decision});
    }
    return level;
}

ordered_json true_health_at(const Subject& subject, double day) {
    const auto after =
        std::find_if(subject.true_health.begin(), subject.true_health.end(),
                     [=](const TrueHealth& health) { return health.online_days > day; });
    return after == subject.true_health.begin() ? ordered_json()
                                                : ordered_json(std::prev(after)->percent);
}

ordered_json soh_section(const std::vector<Subject>& subjects) {
    const bool has_truth = std::any_of(subjects.begin(), subjects.end(),
                                       [](const Subject& s) { return !s.true_health.empty(); });
    ordered_json columns = {column("day", "Day of online time", "", 1),
                            column("user", "User", "%", 3), column("filtered", "Filtered", "%", 3),
                            column("predicted", "Predicted", "%", 3), column("raw", "Raw", "%", 3)};
    if (has_truth) {
        columns.push_back(column("true", "True (simulated)", "%", 3));
    }
    columns.push_back(column("level", "Level in force"));
    columns.push_back(column("by_throughput", "by throughput"));
    columns.push_back(column("by_arrhenius", "by Arrhenius"));
    columns.push_back(column("by_full_stay", "by full stay"));
    return filled(
        section("soh", "soh", "State of health, and the battery-care level",
                "The four estimates at the end of each ten-day period of online time, in % of the "
                "design capacity. Below: the level in force, which is the highest of the three "
                "indicators; at a higher level the driver charges more gently.",
                std::move(columns)),
        subjects,
        {"online_time", "user_soh_per_10days", "filtered_soh_per_10days",
         "predicted_soh_per_10days", "raw_soh_per_10days", "arrhenius_lv",
         "full_stay_capacity_degradation_aging_lv", "soft_charge1_onlinetime"},
        [=](const Subject& subject) {
            const BattStat& stat = subject.battery.stat;
            ordered_json rows = ordered_json::array();
            for (size_t i = 0; i < period_count(stat); i++) {
                const double day = last_day(stat, i);
                const int by_throughput = throughput_level(stat, day);
                ordered_json row = {day, health(stat.user_soh_per_10days[i]),
                                    health(stat.filtered_soh_per_10days[i]),
                                    health(stat.predicted_soh_per_10days[i]),
                                    health(stat.raw_soh_per_10days[i])};
                if (has_truth) {
                    row.push_back(true_health_at(subject, day));
                }
                row.push_back(level_in_force(stat, i, by_throughput));
                row.push_back(by_throughput);
                row.push_back(decided(stat.arrhenius_lv[i]));
                row.push_back(decided(stat.full_stay_capacity_degradation_aging_lv[i]));
                rows.push_back(std::move(row));
            }
            return rows;
        });
}

struct Axis {
    const char* column;
    const char* title;
    std::string (*label)(size_t bin, const UsageBins& bins);
    size_t bins;
};

// The bins of an axis in the order of the chart; the first bin of the record is the highest.
ordered_json axis_json(const Axis& axis, const UsageBins& all, bool falling) {
    ordered_json bins = ordered_json::array();
    for (size_t i = 0; i < axis.bins; i++) {
        bins.push_back(axis.label(falling ? i : axis.bins - 1 - i, all));
    }
    return {{"column", axis.column}, {"title", axis.title}, {"bins", bins}};
}

// Returns the lower and upper edge of each voltage bin in V, highest first. The outer bins, which
// have one edge, are as wide as their neighbours.
ordered_json voltage_edges(const UsageBins& bins) {
    const auto& borders = bins.voltage_uv;
    const auto edge = [](int32_t uv) { return uv / 1e6; };
    ordered_json edges = {{edge(borders[0]), edge(2 * borders[0] - borders[1])}};
    for (size_t i = 1; i < borders.size(); i++) {
        edges.push_back({edge(borders[i]), edge(borders[i - 1])});
    }
    const int32_t lowest = borders.back();
    edges.push_back({edge(2 * lowest - borders[borders.size() - 2]), edge(lowest)});
    return edges;
}

constexpr Axis TEMPERATURE = {"temperature", "battery temperature, °C",
                              decode::temperature_bin_label, TEMPERATURE_BIN_COUNT};

template <typename Grid>
ordered_json grid_rows(const Grid& grid, const Axis& axis, const UsageBins& bins, double per_unit) {
    ordered_json rows = ordered_json::array();
    for (size_t i = 0; i < grid.size(); i++) {
        if (grid[i] != 0) {
            rows.push_back({axis.label(i / TEMPERATURE.bins, bins),
                            TEMPERATURE.label(i % TEMPERATURE.bins, bins), grid[i] / per_unit});
        }
    }
    return rows;
}

ordered_json voltage_section(const std::vector<Subject>& subjects) {
    constexpr Axis VOLTAGE = {"voltage", "voltage, V", decode::voltage_bin_label,
                              VOLTAGE_BIN_COUNT};
    ordered_json json = section(
        "voltage", "heat", "Time per voltage and temperature",
        "Hours that the battery has spent at each voltage and temperature. The rows are "
        "drawn to scale, and the shade is the time per 10 mV, on a logarithmic scale; cells "
        "without a shade were never reached. The battery ages fastest at the top right.",
        {column("voltage", "Voltage", "V"), column("temperature", "Temperature", "°C"),
         column("hours", "Time", "h", 3)});
    json["heat"] = {{"y", axis_json(VOLTAGE, subjects.front().policy.bins, true)},
                    {"x", axis_json(TEMPERATURE, subjects.front().policy.bins, false)},
                    {"z", {{"column", "hours"}, {"title", "hours"}}}};
    json["heat"]["y"]["edges"] = voltage_edges(subjects.front().policy.bins);
    json["heat"]["y"]["per"] = 0.01;
    json["heat"]["y"]["unit"] = "V";
    return filled(std::move(json), subjects, {"vt_cet_table"}, [=](const Subject& subject) {
        return grid_rows(subject.battery.stat.vt_cet_table, VOLTAGE, subject.policy.bins,
                         SECONDS_PER_HOUR);
    });
}

ordered_json charge_section(const std::vector<Subject>& subjects) {
    constexpr Axis CHARGE = {"soc", "state of charge, %", decode::soc_bin_label, SOC_BIN_COUNT};
    ordered_json json =
        section("charge", "heat", "Charge put in per state of charge and temperature",
                "Full charges put in at each state of charge and temperature.",
                {column("soc", "State of charge", "%"), column("temperature", "Temperature", "°C"),
                 column("charges", "Charge put in", "full charges", 4)});
    json["heat"] = {{"y", axis_json(CHARGE, subjects.front().policy.bins, true)},
                    {"x", axis_json(TEMPERATURE, subjects.front().policy.bins, false)},
                    {"z", {{"column", "charges"}, {"title", "full charges"}}}};
    return filled(std::move(json), subjects, {"ct_charge_table"}, [=](const Subject& subject) {
        return grid_rows(subject.battery.stat.ct_charge_table, CHARGE, subject.policy.bins,
                         UNITS_PER_CHARGE);
    });
}

// Returns the loss per period that 108 periods can have until the capacity falls to its limit.
ordered_json full_stay_limit(uint16_t filtered, const Policy& policy) {
    const ordered_json percent = health(filtered);
    return percent.is_null() ? percent
                             : ordered_json((percent.get<double>() - policy.capacity_kept_percent) /
                                            LEVEL_HORIZON_PERIODS);
}

ordered_json ageing_section(const std::vector<Subject>& subjects) {
    return filled(
        section("ageing", "ageing", "Ageing per ten-day period",
                "The increase of the three ageing models in each period. The lines show one of 108 "
                "equal shares of the level's thresholds: periods that average above the upper "
                "Arrhenius line raise the level, periods that average below the dashed line lower "
                "it. The line of the full-stay loss depends on the filtered state of health of its "
                "period.",
                {column("day", "From day"), column("arrhenius", "Arrhenius", "s"),
                 column("raise", "raises from", "s", 0), column("lower", "lowers below", "s", 0),
                 column("full_stay", "Lost at full", "%", 6), column("kept", "limit", "%", 6),
                 column("cycle", "Lost by charging", "%", 6)}),
        subjects,
        {"online_time", "arrhenius_per_10days", "full_stay_capacity_degradation_per_10days",
         "cycle_degradation_per_10days", "filtered_soh_per_10days"},
        [](const Subject& subject) {
            const BattStat& stat = subject.battery.stat;
            ordered_json rows = ordered_json::array();
            for (size_t i = 0; i < period_count(stat); i++) {
                rows.push_back({i * PERIOD_DAYS, stat.arrhenius_per_10days[i],
                                static_cast<double>(subject.policy.arrhenius_raise_from) /
                                    LEVEL_HORIZON_PERIODS,
                                static_cast<double>(subject.policy.arrhenius_lower_below) /
                                    LEVEL_HORIZON_PERIODS,
                                stat.full_stay_capacity_degradation_per_10days[i] / MICROPERCENT,
                                full_stay_limit(stat.filtered_soh_per_10days[i], subject.policy),
                                stat.cycle_degradation_per_10days[i] / MICROPERCENT});
            }
            return rows;
        });
}

ordered_json throughput_section(const std::vector<Subject>& subjects) {
    ordered_json json =
        section("throughput", "bars", "Charge put in, and the resulting levels",
                "The progress toward each level: it begins when its bar reaches the mark.",
                {column("level", "Level"), column("charges", "Charge put in", "full charges", 4),
                 column("border", "begins above", "full charges", 0),
                 column("day", "reached on day", "", 2)});
    json["bars"] = bars("level", "charges", "full charges", ",.1f");
    json["bars"]["limits"] = "border";
    return filled(
        std::move(json), subjects, {"total_cycle_count", "soft_charge1_onlinetime"},
        [](const Subject& subject) {
            const BattStat& stat = subject.battery.stat;
            ordered_json rows = ordered_json::array();
            for (size_t i = 0; i < subject.policy.cycle_count_borders.size(); i++) {
                const uint64_t reached_s = stat.soft_charge1_onlinetime[i];
                rows.push_back(
                    {"level " + std::to_string(i + 1), stat.total_cycle_count / UNITS_PER_CHARGE,
                     subject.policy.cycle_count_borders[i] / UNITS_PER_CHARGE,
                     reached_s == 0
                         ? ordered_json()
                         : ordered_json(static_cast<double>(reached_s) / SECONDS_PER_DAY)});
            }
            return rows;
        });
}

ordered_json charger_section(const std::vector<Subject>& subjects) {
    ordered_json json = section(
        "chargers", "bars", "Chargers by class",
        "Time attached per class of charger: its kind and, for USB PD, its wattage. The table also "
        "has attachments and charge.",
        {column("class", "Class"), column("hours", "Attached", "h", 3),
         column("count", "Attachments"), column("charges", "Charge put in", "full charges", 4)});
    json["bars"] = bars("class", "hours", "hours attached", ",.1f");
    return filled(
        std::move(json), subjects,
        {"dev_attach_count", "dev_attach_total_time", "dev_charge_count"},
        [](const Subject& subject) {
            ordered_json rows = ordered_json::array();
            for (size_t i = 0; i < CHARGER_CLASS_COUNT; i++) {
                const DevAttachEntry& entry = subject.battery.stat.dev_attach[i];
                if ((entry.dev_attach_count | entry.dev_attach_total_time |
                     entry.dev_charge_count) != 0) {
                    rows.push_back(
                        {decode::element_label("dev_attach_count", i),
                         static_cast<double>(entry.dev_attach_total_time) / SECONDS_PER_HOUR,
                         entry.dev_attach_count, entry.dev_charge_count / UNITS_PER_CHARGE});
                }
            }
            return rows;
        });
}

ordered_json current_section(const std::vector<Subject>& subjects) {
    ordered_json json =
        section("currents", "bars", "Largest discharge currents", "By temperature and voltage.",
                {column("condition", "Condition"), column("current", "Current", "mA"),
                 column("date", "Date")});
    json["bars"] = bars("condition", "current", "mA", ",d");
    return filled(
        std::move(json), subjects,
        {"max_discharge_current", "max_dischg_cur_3500mv_10c", "max_dischg_cur_3500mv_5c",
         "max_dischg_cur_3500mv_0c", "max_discharge_time"},
        [](const Subject& subject) {
            ordered_json rows = ordered_json::array();
            for (const DischargeRecord& record : discharge_records_of(subject.battery.stat)) {
                if (record.current_ma != 0) {
                    rows.push_back({record.condition, record.current_ma,
                                    decode::reading_json(FieldUnit::WALL_S, record.wall_s)});
                }
            }
            return rows;
        });
}

ordered_json discharge_section(const std::vector<Subject>& subjects) {
    ordered_json json =
        section("discharge", "bars", "Time in heavy discharge",
                "By condition; a second counts for every condition that it meets.",
                {column("condition", "Condition"), column("hours", "Time", "h", 3)});
    json["bars"] = bars("condition", "hours", "hours", ",.2f");
    return filled(std::move(json), subjects, {"total_discharge_time"}, [](const Subject& subject) {
        ordered_json rows = ordered_json::array();
        for (size_t i = 0; i < subject.battery.stat.total_discharge_time.size(); i++) {
            const uint32_t seconds = subject.battery.stat.total_discharge_time[i];
            if (seconds != 0) {
                rows.push_back({decode::element_label("total_discharge_time", i),
                                static_cast<double>(seconds) / SECONDS_PER_HOUR});
            }
        }
        return rows;
    });
}

ordered_json milestone_section(const std::vector<Subject>& subjects) {
    return filled(section("milestones", "time_line", "Milestones",
                          "Dates of first events and of extremes (UTC).",
                          {column("event", "Event"), column("date", "Date")}),
                  subjects, {"initialized_time", "last_learning_time", "first_soh_time"},
                  [](const Subject& subject) {
                      ordered_json rows = ordered_json::array();
                      for (const Milestone& milestone : milestones_of(subject.battery.stat)) {
                          const ordered_json date =
                              decode::reading_json(FieldUnit::WALL_S, milestone.wall_s);
                          if (!date.is_null()) {
                              rows.push_back({milestone.event, date});
                          }
                      }
                      return rows;
                  });
}

}  // namespace

ordered_json sections_of(const std::vector<Subject>& subjects) {
    ordered_json sections = {
        soh_section(subjects),     ageing_section(subjects),     voltage_section(subjects),
        charge_section(subjects),  throughput_section(subjects), charger_section(subjects),
        current_section(subjects), discharge_section(subjects),  milestone_section(subjects)};
    if (std::any_of(subjects.begin(), subjects.end(),
                    [](const Subject& s) { return !s.battery.connections.empty(); })) {
        for (ordered_json& section : connection_sections_of(subjects)) {
            sections.push_back(std::move(section));
        }
    }
    return sections;
}

// Returns the first oddities, and the number of the others.
std::string oddities_text(const std::vector<std::string>& oddities) {
    constexpr size_t SHOWN = 4;
    std::string text;
    for (size_t i = 0; i < std::min(oddities.size(), SHOWN); i++) {
        text += (i == 0 ? "" : "; ") + oddities[i];
    }
    if (oddities.size() > SHOWN) {
        text += "; and " + decode::grouped(oddities.size() - SHOWN) + " more";
    }
    return oddities.empty() ? "nothing" : text;
}

std::vector<std::pair<std::string, std::string>> facts_of(const Subject& subject) {
    static constexpr std::array FIELDS = {
        std::pair{"Battery", "battery_model_name"},
        std::pair{"Statistics since", "initialized_time"},
        std::pair{"Online time", "online_time"},
        std::pair{"Battery-care level", "soft_charge_mode"},
        std::pair{"State of health, user", "latest_user_soh"},
        std::pair{"State of health, filtered", "latest_filtered_soh"},
        std::pair{"State of health, predicted", "latest_predicted_soh"},
        std::pair{"State of health, raw", "latest_raw_soh"},
        std::pair{"Charge put in", "total_cycle_count"},
        std::pair{"Lost at full", "total_full_stay_cap_degradation"},
        std::pair{"Lost by charging", "total_cycle_degradation"},
        std::pair{"Time at full charge", "soc_full_total_time"},
        std::pair{"Time warm", "jeita_warm_total_time"},
        std::pair{"Highest temperature", "max_temp"},
        std::pair{"Lowest temperature", "min_temp"},
        std::pair{"Highest cell voltage", "max_cell_voltage"},
        std::pair{"Shutdowns when empty", "soc0_shutdown_cnt"},
    };
    const decode::BatteryHistory& battery = subject.battery;
    std::vector<std::pair<std::string, std::string>> facts = {{"Source", battery.source}};
    for (const auto& [title, name] : FIELDS) {
        const decode::RecordField& field = *decode::find_record_field(name);
        facts.emplace_back(
            title,
            is_missing(subject, name) ? "not in the event"
            : field.unit == FieldUnit::TEXT
                ? decode::stored_text(battery.stat, field)
                : decode::reading_text(field.unit, decode::stored_value(battery.stat, field, 0)));
    }
    facts.emplace_back("Charger connections", decode::grouped(battery.connections.size()));
    facts.emplace_back("Odd values", oddities_text(battery.oddities));
    facts.emplace_back("Not in the source",
                       battery.missing.empty() ? "nothing" : list_of(battery.missing));
    return facts;
}

}  // namespace cellwarden::report
