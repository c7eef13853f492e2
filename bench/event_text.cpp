#include "bench/event_text.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>

#include "decode/labels.h"

namespace cellwarden::bench {
namespace {

using decode::EventField;
using decode::EventValue;

constexpr size_t NAME_WIDTH = 42;
constexpr size_t LINE_WIDTH = 100;
constexpr size_t MOST_ELEMENTS = 3;  // longer arrays are shortened
constexpr uint64_t UNDECIDED_LEVEL = std::numeric_limits<uint32_t>::max();

bool has_content(const EventValue& value) {
    if (const auto* text = std::get_if<std::string>(&value)) {
        return !text->empty();
    }
    if (const auto* flag = std::get_if<bool>(&value)) {
        return *flag;
    }
    if (const auto* number = std::get_if<int64_t>(&value)) {
        return *number != 0;
    }
    const uint64_t number = std::get<uint64_t>(value);
    return number != 0 && number != UNDECIDED_LEVEL;
}

// Returns "level 1: 84 d 03:00:00; ...". If there are more than three elements, returns only the
// first and the last, which is the newest of a history. Returns an empty text if all elements are
// zero or undecided.
std::string array_text(const EventField& field) {
    std::vector<std::string> texts;
    for (size_t i = 0; i < field.values.size(); i++) {
        if (has_content(field.values[i])) {
            texts.push_back(decode::element_label(field.name, i) + ": " +
                            decode::value_text(field, i));
        }
    }
    if (texts.size() > MOST_ELEMENTS) {
        return texts.front() + "; ... " + std::to_string(texts.size() - 2) + " more ...; " +
               texts.back();
    }
    std::string joined;
    for (const std::string& text : texts) {
        joined += (joined.empty() ? "" : "; ") + text;
    }
    return joined;
}

std::string field_text(const EventField& field) {
    if (field.repeated) {
        return array_text(field);
    }
    return has_content(field.values.front()) ? decode::value_text(field, 0) : "";
}

// Adds the names, wrapped at the line width.
void add_name_lines(std::vector<std::string>& lines, const std::vector<std::string>& names) {
    std::string line = "empty:";
    for (const std::string& name : names) {
        if (line.size() + 1 + name.size() > LINE_WIDTH) {
            lines.push_back(line);
            line = " ";
        }
        line += " " + name;
    }
    if (!names.empty()) {
        lines.push_back(line);
    }
}

}  // namespace

std::vector<std::string> event_lines(const decode::Event& event) {
    std::vector<std::string> lines;
    std::vector<std::string> nothing;
    for (const EventField& field : event.fields) {
        std::string name(field.name);
        const std::string text = field_text(field);
        if (text.empty()) {
            nothing.push_back(std::move(name));
        } else {
            name.resize(std::max(NAME_WIDTH, name.size()), ' ');
            lines.push_back(name + text);
        }
    }
    add_name_lines(lines, nothing);
    return lines;
}

nlohmann::ordered_json event_json(const decode::Event& event) {
    nlohmann::ordered_json fields = nlohmann::ordered_json::object();
    for (const EventField& field : event.fields) {
        fields[std::string(field.name)] = decode::sent_json(field);
    }
    return fields;
}

}  // namespace cellwarden::bench
