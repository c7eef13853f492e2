#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>

#include "common/input.h"
#include "common/text.h"
#include "decode/battery_history.h"
#include "decode/labels.h"
#include "decode/reading.h"
#include "decode/record_layout.h"
#include "tools/inspect/commands.h"

namespace cellwarden::inspect {
namespace {

using decode::BatteryHistory;
using decode::FieldUnit;
using decode::RecordField;
using nlohmann::ordered_json;

struct Difference {
    const RecordField* field;
    size_t index;
    std::string a;  // with the unit
    std::string b;
    std::string change;    // empty if the unit has no meaningful difference
    ordered_json value_a;  // in the unit of the field
    ordered_json value_b;
};

// Returns "first_soh_time[8] (below 20 %)".
std::string name_of(const Difference& difference) {
    const RecordField& field = *difference.field;
    std::string name(field.name);
    if (field.count == 1 || field.unit == FieldUnit::TEXT) {
        return name;
    }
    const std::string place = name + "[" + std::to_string(difference.index) + "]";
    const std::string label = decode::element_label(field.name, difference.index);
    return label.starts_with('[') ? place : place + " (" + label + ")";
}

std::string change_text(FieldUnit unit, int64_t a, int64_t b) {
    int64_t change = 0;
    int64_t decrease = 0;
    // A foreign record can have numbers at both ends of 64 bits.
    if (__builtin_sub_overflow(b, a, &change) || __builtin_sub_overflow(a, b, &decrease)) {
        return "";
    }
    switch (unit) {
        case FieldUnit::WALL_S:
        case FieldUnit::LEVEL:
        case FieldUnit::DECIC:
        case FieldUnit::CODE:
        case FieldUnit::MARKER:
            return "";
        case FieldUnit::SECONDS:
        case FieldUnit::ONLINE_S:
            return (change > 0 ? "+" : "-") +
                   decode::reading_text(FieldUnit::SECONDS, std::max(change, decrease));
        default:
            return (change > 0 ? "+" : "") +
                   decode::plain_number(decode::reading_number(unit, change), 6);
    }
}

void add_differences(std::vector<Difference>& differences, const RecordField& field,
                     const BattStat& a, const BattStat& b) {
    if (field.unit == FieldUnit::TEXT) {
        const std::string text_a = decode::stored_text(a, field);
        const std::string text_b = decode::stored_text(b, field);
        if (text_a != text_b) {
            differences.push_back(
                {&field, 0, printable(text_a), printable(text_b), "", text_a, text_b});
        }
        return;
    }
    for (size_t i = 0; i < field.count; i++) {
        const int64_t stored_a = decode::stored_value(a, field, i);
        const int64_t stored_b = decode::stored_value(b, field, i);
        if (stored_a != stored_b) {
            differences.push_back({&field, i, decode::reading_text(field.unit, stored_a),
                                   decode::reading_text(field.unit, stored_b),
                                   change_text(field.unit, stored_a, stored_b),
                                   decode::reading_json(field.unit, stored_a),
                                   decode::reading_json(field.unit, stored_b)});
        }
    }
}

bool is_missing(const BatteryHistory& history, std::string_view name) {
    return std::find(history.missing.begin(), history.missing.end(), name) != history.missing.end();
}

// Compares the fields that both have.
std::vector<Difference> differences_of(const BatteryHistory& a, const BatteryHistory& b) {
    std::vector<Difference> differences;
    for (const RecordField& field : decode::record_fields()) {
        if (!is_missing(a, field.name) && !is_missing(b, field.name)) {
            add_differences(differences, field, a.stat, b.stat);
        }
    }
    return differences;
}

size_t field_count(const std::vector<Difference>& differences) {
    size_t count = 0;
    const RecordField* last = nullptr;
    for (const Difference& difference : differences) {
        count += difference.field == last ? 0 : 1;
        last = difference.field;
    }
    return count;
}

std::string plural(size_t count, const char* noun) {
    return decode::grouped(count) + " " + noun + (count == 1 ? "" : "s");
}

// The values that show at a glance what happened between the two.
std::string summary_of(const std::vector<Difference>& differences) {
    if (differences.empty()) {
        return "No field differs.";
    }
    static constexpr std::pair<const char*, const char*> HEADLINES[] = {
        {"online_time", "online time"},
        {"soft_charge_mode", "battery-care level"},
        {"latest_user_soh", "state of health (user)"},
        {"latest_filtered_soh", "state of health (filtered)"},
        {"total_cycle_count", "charge put in"},
    };
    std::string text = plural(field_count(differences), "field") + " differ in " +
                       plural(differences.size(), "value") + ".";
    for (const auto& [name, title] : HEADLINES) {
        for (const Difference& difference : differences) {
            if (difference.field->name == name) {
                text += "\n  " + std::string(title) + ": " + difference.a + " -> " + difference.b;
            }
        }
    }
    return text;
}

std::string list_of(const std::vector<std::string_view>& names) {
    std::string list;
    for (const std::string_view name : names) {
        list += (list.empty() ? "" : ", ") + std::string(name);
    }
    return list;
}

void print_side(const char* side, const std::string& path, const BatteryHistory& history) {
    std::cout << side << ": " << printable(path) << ", " << printable(history.source) << '\n';
    if (!history.missing.empty()) {
        std::cout << "   not in the event: " << list_of(history.missing) << '\n';
    }
}

ordered_json side_json(const std::string& path, const BatteryHistory& history) {
    return {{"file", path},
            {"phone", history.phone},
            {"source", history.source},
            {"missing", history.missing},
            {"oddities", history.oddities}};
}

ordered_json difference_json(const Difference& difference) {
    const RecordField& field = *difference.field;
    ordered_json json = {{"field", field.name}};
    if (field.count > 1 && field.unit != FieldUnit::TEXT) {
        json["index"] = difference.index;
        json["label"] = decode::element_label(field.name, difference.index);
    }
    json["unit"] = decode::reading_unit(field.unit);
    json["a"] = difference.value_a;
    json["b"] = difference.value_b;
    return json;
}

// Returns the only phone of an input.
BatteryHistory load(const std::string& path, const std::vector<std::string>& phones) {
    const auto refuse = [](const std::string& text) { complain(PROGRAM, text); };
    return decode::load_histories({path, phones, 1, refuse}).front();
}

}  // namespace

int show_difference(const std::string& path_a, const std::string& path_b,
                    const std::vector<std::string>& phones, bool as_json) {
    const BatteryHistory a = load(path_a, phones);
    const BatteryHistory b = load(path_b, phones);
    const std::vector<Difference> differences = differences_of(a, b);
    if (as_json) {
        ordered_json json = {{"a", side_json(path_a, a)},
                             {"b", side_json(path_b, b)},
                             {"fields", field_count(differences)},
                             {"differences", ordered_json::array()}};
        for (const Difference& difference : differences) {
            json["differences"].push_back(difference_json(difference));
        }
        std::cout << json_text(json) << '\n';
    } else {
        print_side("A", path_a, a);
        print_side("B", path_b, b);
        std::cout << summary_of(differences) << "\n\n";
        for (const Difference& difference : differences) {
            std::cout << name_of(difference) << ": " << difference.a << " -> " << difference.b
                      << (difference.change.empty() ? "" : "  (" + difference.change + ")") << '\n';
        }
    }
    return differences.empty() ? SOUND : NOT_SOUND;
}

}  // namespace cellwarden::inspect
