#include <iomanip>
#include <iostream>
#include <nlohmann/json.hpp>

#include "common/text.h"
#include "decode/event_stream.h"
#include "decode/labels.h"
#include "decode/oddities.h"
#include "tools/inspect/commands.h"
#include "tools/inspect/record_text.h"

namespace cellwarden::inspect {
namespace {

using decode::Event;
using decode::EventField;
using decode::PhoneEvent;
using nlohmann::ordered_json;

ordered_json time_json(const PhoneEvent& found) {
    return found.time_s ? decode::reading_json(decode::FieldUnit::WALL_S, *found.time_s)
                        : ordered_json();
}

void print_json_line(const PhoneEvent& found) {
    ordered_json line = {{"file", found.place},
                         {"phone", found.phone},
                         {"time", time_json(found)},
                         {"event", found.event.name}};
    for (const EventField& field : found.event.fields) {
        line[std::string(field.name)] = decode::sent_json(field);
    }
    std::cout << json_text(line) << '\n';
}

void print_text(const PhoneEvent& found) {
    const Event& event = found.event;
    std::cout << event.name << " event " << printable(found.place) << ", "
              << decode::grouped(found.packed.size()) << " bytes\n";
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
    for (const std::string& oddity : decode::oddities_of(event)) {
        std::cout << "  Odd: " << oddity << '\n';
    }
    std::cout << "  absent:";
    for (const std::string_view name : event.absent) {
        std::cout << ' ' << name;
    }
    std::cout << "\n\n";
}

}  // namespace

int show_events(const std::vector<std::string>& paths, const std::string& name,
                EventFormat format) {
    int result = SOUND;
    const auto show = [&](const PhoneEvent& found) {
        switch (format) {
            case EventFormat::TEXT:
                print_text(found);
                break;
            case EventFormat::JSON_LINES:
                print_json_line(found);
                break;
            case EventFormat::STREAM:
                decode::write_event(std::cout, found);
                break;
        }
    };
    const auto refuse = [&](const std::string& text) {
        complain(PROGRAM, text);
        result = NOT_SOUND;
    };
    for (const std::string& path : paths) {
        decode::read_events(path, name, show, refuse);
    }
    return result;
}

}  // namespace cellwarden::inspect
