#include <cstdlib>
#include <cstring>
#include <iostream>
#include <nlohmann/json.hpp>

#include "common/input.h"
#include "decode/labels.h"
#include "decode/reading.h"
#include "decode/record_layout.h"
#include "decode/verdict.h"
#include "tools/inspect/commands.h"
#include "tools/inspect/record_text.h"

namespace cellwarden::inspect {
namespace {

using decode::Judgement;
using decode::RecordField;
using nlohmann::ordered_json;

BattStat record_of(const std::vector<uint8_t>& bytes) {
    BattStat stat;
    memcpy(&stat, bytes.data(), sizeof stat);
    return stat;
}

// One field per line, so that a line-by-line comparison of two records is readable.
void print_json_record(const std::string& path, size_t size, const Judgement& judgement,
                       const ordered_json& fields, const std::vector<std::string>& oddities) {
    const ordered_json head = {{"file", path},
                               {"bytes", size},
                               {"verdict", judgement.name},
                               {"reason", judgement.reason},
                               {"oddities", oddities}};
    std::cout << "{\n";
    for (const auto& item : head.items()) {
        std::cout << "  " << ordered_json(item.key()) << ": " << item.value() << ",\n";
    }
    std::cout << "  \"fields\": {";
    const char* separator = "\n";
    for (const auto& item : fields.items()) {
        std::cout << separator << "    " << ordered_json(item.key()) << ": " << item.value();
        separator = ",\n";
    }
    std::cout << (fields.empty() ? "}\n}\n" : "\n  }\n}\n");
}

struct Difference {
    std::string name;  // "first_soh_time[8] (below 20 %)"
    std::string a;
    std::string b;
    std::string change;
};

std::string name_of(const RecordField& field, size_t index) {
    std::string name(field.name);
    if (field.count == 1) {
        return name;
    }
    const std::string place = name + "[" + std::to_string(index) + "]";
    const std::string label = decode::element_label(field.name, index);
    return label.starts_with('[') ? place : place + " (" + label + ")";
}

// Returns the difference of two numbers; empty for units without meaningful differences.
std::string change_text(const RecordField& field, int64_t a, int64_t b) {
    switch (field.unit) {
        case decode::FieldUnit::WALL_S:
        case decode::FieldUnit::LEVEL:
        case decode::FieldUnit::DECIC:
        case decode::FieldUnit::CODE:
        case decode::FieldUnit::MARKER:
            return "";
        case decode::FieldUnit::SECONDS:
        case decode::FieldUnit::ONLINE_S:
            return (b > a ? "+" : "-") +
                   decode::reading_text(decode::FieldUnit::SECONDS, std::abs(b - a));
        default:
            return (b > a ? "+" : "") +
                   decode::plain_number(decode::reading_number(field.unit, b - a), 6);
    }
}

std::vector<Difference> differences_of(const BattStat& a, const BattStat& b) {
    std::vector<Difference> differences;
    for (const RecordField& field : decode::record_fields()) {
        if (field.unit == decode::FieldUnit::TEXT) {
            const std::string text_a = decode::stored_text(a, field);
            const std::string text_b = decode::stored_text(b, field);
            if (text_a != text_b) {
                differences.push_back({std::string(field.name), text_a, text_b, ""});
            }
            continue;
        }
        for (size_t i = 0; i < field.count; i++) {
            const int64_t value_a = decode::stored_value(a, field, i);
            const int64_t value_b = decode::stored_value(b, field, i);
            if (value_a != value_b) {
                differences.push_back({name_of(field, i), decode::reading_text(field.unit, value_a),
                                       decode::reading_text(field.unit, value_b),
                                       change_text(field, value_a, value_b)});
            }
        }
    }
    return differences;
}

// Reads a record that the daemon would keep. Prints the reason and returns false if it would not.
bool read_sound_record(const std::string& path, BattStat& stat) {
    const std::vector<uint8_t> bytes = read_input(path);
    const Judgement judgement = decode::judge_record(bytes);
    if (!decode::is_kept(judgement)) {
        std::cerr << "cellwarden-inspect: " << path
                  << ": not a record that the daemon would keep: " << judgement.reason << '\n';
        return false;
    }
    stat = record_of(bytes);
    return true;
}

}  // namespace

int show_record(const std::string& path, bool as_json) {
    const std::vector<uint8_t> bytes = read_input(path);
    const Judgement judgement = decode::judge_record(bytes);
    const bool kept = decode::is_kept(judgement);
    const BattStat stat = kept ? record_of(bytes) : BattStat{};
    const std::vector<std::string> oddities = kept ? oddities_of(stat) : std::vector<std::string>{};
    if (as_json) {
        print_json_record(path, bytes.size(), judgement,
                          kept ? record_json(stat) : ordered_json::object(), oddities);
    } else {
        std::cout << "Battery statistics record " << path << ", " << decode::grouped(bytes.size())
                  << " bytes\n"
                  << "Verdict of the daemon at its next start: " << judgement.name << ": "
                  << judgement.reason << ".\n";
        for (const std::string& oddity : oddities) {
            std::cout << "Odd: " << oddity << '\n';
        }
        if (kept) {
            std::cout << '\n';
            print_record(std::cout, stat);
        }
    }
    return kept ? SOUND : NOT_SOUND;
}

int show_difference(const std::string& path_a, const std::string& path_b) {
    BattStat a;
    BattStat b;
    const bool sound_a = read_sound_record(path_a, a);
    if (!read_sound_record(path_b, b) || !sound_a) {
        throw InputError("diff needs two valid records");
    }
    const std::vector<Difference> differences = differences_of(a, b);
    for (const Difference& difference : differences) {
        std::cout << difference.name << ": " << difference.a << " -> " << difference.b
                  << (difference.change.empty() ? "" : "  (" + difference.change + ")") << '\n';
    }
    return differences.empty() ? SOUND : NOT_SOUND;
}

}  // namespace cellwarden::inspect
