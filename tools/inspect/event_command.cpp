#include <iomanip>
#include <iostream>
#include <nlohmann/json.hpp>

#include "common/input.h"
#include "decode/event.h"
#include "decode/labels.h"
#include "tools/inspect/commands.h"
#include "tools/inspect/record_text.h"

namespace cellwarden::inspect {
namespace {

namespace fs = std::filesystem;
using decode::Event;
using decode::EventField;
using nlohmann::ordered_json;

// Returns the time at the start of an outbox file name, "20260301T071245Z", as ISO 8601, or null if
// the name does not start with a time.
ordered_json time_of_file(const std::string& name) {
    constexpr const char* PATTERN = "########T######Z-";
    for (size_t i = 0; PATTERN[i] != '\0'; i++) {
        const bool fits = i < name.size() && (PATTERN[i] == '#' ? name[i] >= '0' && name[i] <= '9'
                                                                : name[i] == PATTERN[i]);
        if (!fits) {
            return {};
        }
    }
    const auto part = [&](size_t at, size_t length) { return name.substr(at, length); };
    return part(0, 4) + "-" + part(4, 2) + "-" + part(6, 2) + "T" + part(9, 2) + ":" + part(11, 2) +
           ":" + part(13, 2) + "Z";
}

void print_json_line(const std::string& path, const Event& event) {
    ordered_json line = {
        {"file", path}, {"time", time_of_file(fs::path(path).filename())}, {"event", event.name}};
    for (const EventField& field : event.fields) {
        line[std::string(field.name)] = decode::sent_json(field);
    }
    // A text that is not valid UTF-8 must not abort the output.
    std::cout << line.dump(-1, ' ', false, ordered_json::error_handler_t::replace) << '\n';
}

void print_text(const std::string& path, size_t size, const Event& event) {
    std::cout << event.name << " event " << path << ", " << decode::grouped(size) << " bytes\n";
    for (const EventField& field : event.fields) {
        std::cout << "  " << std::right << std::setw(4) << field.number << "  " << std::left;
        if (!field.repeated) {
            std::cout << std::setw(NAME_WIDTH) << field.name << decode::value_text(field, 0)
                      << '\n';
            continue;
        }
        std::cout << field.name << ", " << field.values.size() << " elements\n";
        const std::string nothing = decode::reading_text(field.unit, 0);
        for (size_t i = 0; i < field.values.size(); i++) {
            const std::string text = decode::value_text(field, i);
            if (text != nothing && text != "not decided") {
                std::cout << "        " << std::setw(NAME_WIDTH)
                          << decode::element_label(field.name, i) << text << '\n';
            }
        }
    }
    std::cout << "  absent:";
    for (const std::string_view name : event.absent) {
        std::cout << ' ' << name;
    }
    std::cout << "\n\n";
}

std::vector<std::string> inputs_of(const std::vector<std::string>& paths) {
    std::vector<std::string> inputs;
    for (const std::string& path : paths) {
        if (!fs::is_directory(path)) {
            inputs.push_back(path);
            continue;
        }
        for (const fs::path& file : files_of(path)) {
            inputs.push_back(file);
        }
    }
    return inputs;
}

}  // namespace

int show_events(const std::vector<std::string>& paths, const std::string& name,
                EventFormat format) {
    int result = SOUND;
    for (const std::string& path : inputs_of(paths)) {
        const std::vector<uint8_t> bytes = read_input(path);
        const std::string file = fs::path(path).filename();
        try {
            const Event event =
                decode::decode_event(bytes, name.empty() ? decode::event_name_of_file(file) : name);
            if (format == EventFormat::JSON_LINES) {
                print_json_line(path, event);
            } else {
                print_text(path, bytes.size(), event);
            }
        } catch (const decode::EventError& error) {
            std::cerr << "cellwarden-inspect: " << path << ": " << error.what() << '\n';
            result = NOT_SOUND;
        }
    }
    return result;
}

}  // namespace cellwarden::inspect
