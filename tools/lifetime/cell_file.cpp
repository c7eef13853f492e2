// Cells as JSON files; docs/lifetime.md describes their keys.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "common/installation.h"
#include "common/json_reader.h"
#include "tools/lifetime/cell.h"

namespace cellwarden::lifetime {
namespace {

namespace fs = std::filesystem;

Range read_range(const JsonPlace& at) {
    if (!at.value.is_array() || at.value.size() != 2) {
        fail(at, "an array of the lowest and the highest value");
    }
    const Range range = {read_number(element(at, 0), -100, 1000),
                         read_number(element(at, 1), -100, 1000)};
    if (range.low > range.high) {
        fail(at, "the lowest value first");
    }
    return range;
}

void read_temperature(const JsonPlace& at, AgeingTerm& term) {
    read_object(at, {{"activation_k", number_into(term.activation_k, -60'000, 60'000)},
                     {"doubling_k", number_into(term.doubling_k, 1, 200)},
                     {"reference_c",
                      [&](const JsonPlace& p) { term.reference_c = read_number(p, -40, 100); }}});
    if ((term.doubling_k > 0) == at.value.contains("activation_k") ||
        (term.doubling_k > 0 && !term.reference_c)) {
        fail(at, "an object with activation_k, or with doubling_k and reference_c");
    }
}

void read_voltage(const JsonPlace& at, AgeingTerm& term) {
    read_object(
        at, {{"of",
              [&](const JsonPlace& p) {
                  const std::string of = read_choice(p, {"open_circuit", "terminal", "charger"});
                  term.voltage_of = of == "terminal"  ? VoltageOf::TERMINAL
                                    : of == "charger" ? VoltageOf::CHARGER
                                                      : VoltageOf::OPEN_CIRCUIT;
              }},
             {"per_volt", number_into(term.per_volt, -50, 50)},
             {"reference_v", number_into(term.reference_v, 0, 6)},
             {"knee_v", number_into(term.knee_v, 0, 6)},
             {"per_volt_above", number_into(term.per_volt_above, -50, 50)},
             {"slope", [&](const JsonPlace& p) { term.linear_slope = read_number(p, -1e3, 1e3); }},
             {"offset", number_into(term.linear_offset, -1e4, 1e4)}});
    if (term.linear_slope.has_value() == at.value.contains("per_volt")) {
        fail(at, "an object with per_volt and reference_v, or with slope and offset");
    }
    if (at.value.contains("knee_v") != at.value.contains("per_volt_above")) {
        fail(at, "an object with both of knee_v and per_volt_above, or neither");
    }
}

void read_half_cycle(const JsonPlace& at, AgeingTerm& term) {
    read_object(at, {{"constant", number_into(term.stress_constant, -1e3, 1e3)},
                     {"per_depth", number_into(term.per_depth, -1e3, 1e3)},
                     {"per_volt_squared", number_into(term.per_volt_squared, -1e3, 1e3)},
                     {"center_v", number_into(term.center_v, 0, 6)}});
}

void read_ranges(const JsonPlace& at, AgeingTerm& term) {
    Handlers handlers;
    for (size_t i = 0; i < QUANTITY_COUNT; i++) {
        handlers[QUANTITY_NAMES[i]] = [&term, i](const JsonPlace& p) {
            term.ranges[i] = read_range(p);
        };
    }
    read_object(at, handlers);
}

Handlers common_handlers(AgeingTerm& term) {
    const auto ignore = [](const JsonPlace& p) { (void)read_text(p); };
    return {{"name", text_into(term.name)},
            {"source", ignore},
            {"percent", number_into(term.percent, 0, 1e15)},
            {"exponent", number_into(term.exponent, 0.1, 3)},
            {"temperature", [&](const JsonPlace& p) { read_temperature(p, term); }},
            {"voltage", [&](const JsonPlace& p) { read_voltage(p, term); }},
            {"range", [&](const JsonPlace& p) { read_ranges(p, term); }}};
}

void read_calendar(const JsonPlace& at, AgeingTerm& term) {
    Handlers handlers = common_handlers(term);
    handlers["per_days"] = number_into(term.per, 0.001, 1e5);
    handlers["only_at_full"] = [&](const JsonPlace& p) { term.only_at_full = read_flag(p); };
    for (const char* key : {"percent", "per_days", "exponent"}) {
        require(at, key);
    }
    read_object(at, handlers);
}

void read_cycling(const JsonPlace& at, AgeingTerm& term) {
    Handlers handlers = common_handlers(term);
    handlers["per_charges"] = number_into(term.per, 1e-4, 1e6);
    handlers["counts"] = [&](const JsonPlace& p) {
        term.only_charging = read_choice(p, {"charging", "both directions"}) == "charging";
    };
    handlers["of_capacity"] = [&](const JsonPlace& p) {
        term.of_present_capacity = read_choice(p, {"design", "present"}) == "present";
    };
    handlers["c_rate"] = [&](const JsonPlace& p) {
        read_object(p, {{"per_c", number_into(term.per_c, -20, 20)},
                        {"reference", number_into(term.reference_c_rate, 0, 20)}});
    };
    handlers["half_cycle"] = [&](const JsonPlace& p) { read_half_cycle(p, term); };
    for (const char* key : {"percent", "per_charges", "exponent"}) {
        require(at, key);
    }
    read_object(at, handlers);
}

// Returns a handler that adds the terms of an array.
template <typename Read>
Handler terms_into(std::vector<AgeingTerm>& terms, TermKind kind, Read read) {
    return [&terms, kind, read](const JsonPlace& at) {
        if (!at.value.is_array()) {
            fail(at, "an array of terms");
        }
        for (size_t i = 0; i < at.value.size(); i++) {
            AgeingTerm& term = terms.emplace_back();
            term.kind = kind;
            term.name = kind == TermKind::CALENDAR ? "calendar" : "cycling";
            read(element(at, i), term);
        }
    };
}

Handlers terms_handlers(std::vector<AgeingTerm>& terms) {
    return {{"calendar", terms_into(terms, TermKind::CALENDAR, read_calendar)},
            {"cycling", terms_into(terms, TermKind::CYCLING, read_cycling)}};
}

void read_knee(const JsonPlace& at, Knee& knee) {
    require(at, "below_soh_percent");
    read_object(at, {{"below_soh_percent", number_into(knee.below_soh_percent, 0, 100)},
                     {"source", [](const JsonPlace& p) { (void)read_text(p); }},
                     {"factor", number_into(knee.factor, 0, 100)},
                     {"per_percent", number_into(knee.per_percent, 0, 100)}});
}

void read_resistance(const JsonPlace& at, ResistanceModel& resistance) {
    Handlers handlers = terms_handlers(resistance.terms);
    handlers["source"] = [](const JsonPlace& p) { (void)read_text(p); };
    handlers["percent_per_percent_lost"] = number_into(resistance.percent_per_percent_lost, 0, 20);
    handlers["activation_k"] = number_into(resistance.activation_k, 0, 20'000);
    handlers["temperature_c"] = [&](const JsonPlace& p) {
        resistance.temperature_c = read_range(p);
    };
    read_object(at, handlers);
}

}  // namespace

CellModel parse_cell(const std::string& text, const fs::path& file) {
    const nlohmann::json document = parse_document(text, file);
    const JsonPlace top = {document, "", file};
    CellModel cell;
    cell.name = file.stem();
    cell.source = text;
    for (const char* key : {"about", "capacity"}) {
        require(top, key);
    }
    read_object(
        top,
        {{"about", text_into(cell.about)},
         {"capacity", [&](const JsonPlace& at) { read_object(at, terms_handlers(cell.capacity)); }},
         {"knee", [&](const JsonPlace& at) { read_knee(at, cell.knee); }},
         {"resistance", [&](const JsonPlace& at) { read_resistance(at, cell.resistance); }}});
    return cell;
}

CellModel load_cell(const fs::path& file) {
    const std::vector<uint8_t> bytes = read_input(file);
    return parse_cell({bytes.begin(), bytes.end()}, file);
}

fs::path cell_file(const std::string& name, const fs::path& folder) {
    const bool is_path = name.find('/') != std::string::npos || name.ends_with(".json");
    return is_path ? folder / name : data_folder("cells") / (name + ".json");
}

std::vector<std::string> shipped_cells() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(data_folder("cells"))) {
        names.push_back(entry.path().stem());
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace cellwarden::lifetime
