// The two telemetry events, field by field and by name, as their schema describes them.
#pragma once

#include <protobuf-c/protobuf-c.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "decode/reading.h"

namespace cellwarden::decode {

using EventValue = std::variant<int64_t, uint64_t, bool, std::string>;

struct EventField {
    std::string_view name;
    uint32_t number;
    FieldUnit unit;
    bool repeated;
    std::vector<EventValue> values;  // one where it is not repeated
};

struct Event {
    std::string_view name;           // "BatteryDegradation2"
    std::vector<EventField> fields;  // those that are there, by number
    std::vector<std::string_view> absent;
};

// The bytes are no event: the text says at which offset, and why.
struct EventError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Names of the events, as an outbox file carries them at its end.
std::vector<std::string_view> event_names();

// The event name at the end of an outbox file's name; empty where there is none.
std::string_view event_name_of_file(std::string_view file_name);

// Decodes the event of that name. Without a name it is the one event that knows every field of the
// bytes. Throws EventError.
Event decode_event(std::span<const uint8_t> bytes, std::string_view name = {});

// A value as it was sent, for JSON and SQL.
nlohmann::ordered_json sent_json(const EventField& field);

// A value as people read it.
std::string value_text(const EventField& field, size_t index);

}  // namespace cellwarden::decode
