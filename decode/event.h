// Decodes the two telemetry events by their schema: each field with its name, unit and values.
#pragma once

#include <protobuf-c/protobuf-c.h>

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
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
    std::vector<EventValue> values;  // one value if the field is not repeated
};

struct Event {
    std::string_view name;                 // "BatteryDegradation2"
    std::vector<EventField> fields;        // those in the message, sorted by number
    std::vector<std::string_view> absent;  // names of the other fields of the schema
};

// Returns the field with that name; nullptr if the event does not have it.
const EventField* find_field(const Event& event, std::string_view name);

// Returns the number of a value, 1 and 0 for a flag; nullopt for a text. A number of 2^63 or more
// becomes negative, as in the record.
std::optional<int64_t> number_of(const EventValue& value);

// Returns the name of an element of a field: "fcc_mah[3]"; of a field that is not repeated its
// name.
std::string place_of(const EventField& field, size_t index);

// The input is not an event. The text contains the offset and the reason.
struct EventError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Returns the names of the events; the name of an outbox file ends with one of them.
std::vector<std::string_view> event_names();

// Returns the event name at the end of an outbox file name; empty if there is no event name.
std::string_view event_name_of_file(std::string_view file_name);

// Returns the name of the event that the bytes are; empty if they are not an event. Bytes that are
// valid as either event count as the first of event_names().
std::string_view event_name_of(std::span<const uint8_t> bytes);

// Decodes an event. If `name` is empty, the type is that which decodes all bytes. Throws
// EventError.
Event decode_event(std::span<const uint8_t> bytes, std::string_view name = {});

// Returns the values as sent, for JSON and SQL.
nlohmann::ordered_json sent_json(const EventField& field);

// Returns a value as text with its unit.
std::string value_text(const EventField& field, size_t index);

}  // namespace cellwarden::decode
