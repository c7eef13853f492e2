#include "decode/event.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>

#include "common/text.h"
#include "decode/free_message.h"
#include "decode/record_layout.h"
#include "decode/wire_fault.h"
#include "telemetry/charging.pb-c.h"

namespace cellwarden::decode {
namespace {

constexpr std::array EVENT_TYPES = {&charging__battery_degradation2__descriptor,
                                    &charging__charger_insertion_removal__descriptor};

// Units of the fields that the statistics record does not contain under the same name and unit.
struct UnitOfField {
    std::string_view name;
    FieldUnit unit;
};
constexpr std::array OWN_UNITS = {
    UnitOfField{"usb_connector_heat_time", FieldUnit::WALL_S},
    UnitOfField{"usb_insertion_time", FieldUnit::SECONDS},
    UnitOfField{"pdo_selected_time", FieldUnit::SECONDS},
    UnitOfField{"thermal_level_time", FieldUnit::SECONDS},
    UnitOfField{"inserted_soc", FieldUnit::PERCENT},
    UnitOfField{"removal_soc", FieldUnit::PERCENT},
    UnitOfField{"inserted_sc_stage", FieldUnit::LEVEL},
    UnitOfField{"removal_sc_stage", FieldUnit::LEVEL},
    UnitOfField{"moment_max_usbin_voltage", FieldUnit::UV},
    UnitOfField{"moment_max_vbatt", FieldUnit::UV},
};

using Message = std::unique_ptr<ProtobufCMessage, FreeMessage>;

FieldUnit unit_of(const ProtobufCMessageDescriptor& type, std::string_view name) {
    for (const UnitOfField& row : OWN_UNITS) {
        if (row.name == name) {
            return row.unit;
        }
    }
    const RecordField* const field = find_record_field(name);
    const FieldUnit unit = field == nullptr ? FieldUnit::COUNT : field->unit;
    // The charger event has states of health at full resolution, and its version is a plain number.
    if (&type == &charging__charger_insertion_removal__descriptor) {
        return unit == FieldUnit::HALF_SOH  ? FieldUnit::MILLI_SOH
               : unit == FieldUnit::VERSION ? FieldUnit::COUNT
                                            : unit;
    }
    return unit;
}

template <typename T>
T element(const char* elements, size_t index) {
    T value;
    memcpy(&value, elements + index * sizeof value, sizeof value);
    return value;
}

EventValue value_at(ProtobufCType type, const char* elements, size_t index) {
    switch (type) {
        case PROTOBUF_C_TYPE_UINT32:
            return uint64_t{element<uint32_t>(elements, index)};
        case PROTOBUF_C_TYPE_UINT64:
            return element<uint64_t>(elements, index);
        case PROTOBUF_C_TYPE_INT32:
            return int64_t{element<int32_t>(elements, index)};
        case PROTOBUF_C_TYPE_BOOL:
            return element<protobuf_c_boolean>(elements, index) != 0;
        case PROTOBUF_C_TYPE_STRING:
            return std::string(element<const char*>(elements, index));
        default:
            throw EventError("the schema has a field of an unsupported type");
    }
}

std::vector<EventValue> values_of(const ProtobufCMessage& message,
                                  const ProtobufCFieldDescriptor& field) {
    const char* const base = reinterpret_cast<const char*>(&message);
    std::vector<EventValue> values;
    if (field.label == PROTOBUF_C_LABEL_REPEATED) {
        const auto count = element<size_t>(base + field.quantifier_offset, 0);
        const auto* const elements = element<const char*>(base + field.offset, 0);
        values.reserve(count);
        for (size_t i = 0; i < count; i++) {
            values.push_back(value_at(field.type, elements, i));
        }
        return values;
    }
    const bool present = field.type == PROTOBUF_C_TYPE_STRING
                             ? element<const char*>(base + field.offset, 0) != nullptr
                             : element<protobuf_c_boolean>(base + field.quantifier_offset, 0) != 0;
    if (present) {
        values.push_back(value_at(field.type, base + field.offset, 0));
    }
    return values;
}

Event event_of(const ProtobufCMessage& message) {
    const ProtobufCMessageDescriptor& type = *message.descriptor;
    Event event{.name = type.short_name, .fields = {}, .absent = {}};
    for (unsigned i = 0; i < type.n_fields; i++) {
        const ProtobufCFieldDescriptor& field = type.fields[i];
        std::vector<EventValue> values = values_of(message, field);
        if (values.empty()) {
            event.absent.emplace_back(field.name);
            continue;
        }
        event.fields.push_back({.name = field.name,
                                .number = field.id,
                                .unit = unit_of(type, field.name),
                                .repeated = field.label == PROTOBUF_C_LABEL_REPEATED,
                                .values = std::move(values)});
    }
    return event;
}

// Throws EventError unless all bytes belong to a message of that type.
Event decode_as(const ProtobufCMessageDescriptor& type, std::span<const uint8_t> bytes) {
    const std::string refusal = "is not a " + std::string(type.short_name) + " event: ";
    if (const auto fault = wire_fault(type, bytes)) {
        throw EventError(refusal + "offset " + offset_text(fault->offset) + ": " + fault->what);
    }
    const Message message(protobuf_c_message_unpack(&type, nullptr, bytes.size(), bytes.data()));
    if (!message) {
        throw EventError(refusal + "it cannot be unpacked");
    }
    return event_of(*message);
}

// Returns the type that decodes the most bytes. Throws EventError if several types decode all.
const ProtobufCMessageDescriptor& guess_type(std::span<const uint8_t> bytes) {
    const ProtobufCMessageDescriptor* best = EVENT_TYPES.front();
    size_t best_end = 0;
    bool any = false;
    for (const ProtobufCMessageDescriptor* type : EVENT_TYPES) {
        const auto fault = wire_fault(*type, bytes);
        const size_t end = fault ? fault->offset : bytes.size();
        if (any && end == bytes.size() && best_end == end) {
            throw EventError(
                "is valid as either event: end its file name with the name of the event, or use "
                "--type of 'cellwarden-inspect event'");
        }
        if (end > best_end) {
            best = type;
            best_end = end;
        }
        any = true;
    }
    return *best;
}

}  // namespace

const EventField* find_field(const Event& event, std::string_view name) {
    const auto found = std::find_if(event.fields.begin(), event.fields.end(),
                                    [&](const EventField& field) { return field.name == name; });
    return found == event.fields.end() ? nullptr : &*found;
}

std::optional<int64_t> number_of(const EventValue& value) {
    if (const auto* const number = std::get_if<int64_t>(&value)) {
        return *number;
    }
    if (const auto* const number = std::get_if<uint64_t>(&value)) {
        return static_cast<int64_t>(*number);
    }
    const auto* const flag = std::get_if<bool>(&value);
    return flag == nullptr ? std::nullopt : std::optional<int64_t>(*flag ? 1 : 0);
}

std::string place_of(const EventField& field, size_t index) {
    const std::string name(field.name);
    return field.repeated ? name + "[" + std::to_string(index) + "]" : name;
}

std::vector<std::string_view> event_names() {
    std::vector<std::string_view> names;
    names.reserve(std::size(EVENT_TYPES));
    for (const ProtobufCMessageDescriptor* type : EVENT_TYPES) {
        names.emplace_back(type->short_name);
    }
    return names;
}

std::string_view event_name_of_file(std::string_view file_name) {
    for (const std::string_view name : event_names()) {
        if (file_name.ends_with(name)) {
            return name;
        }
    }
    return {};
}

std::string_view event_name_of(std::span<const uint8_t> bytes) {
    for (const ProtobufCMessageDescriptor* type : EVENT_TYPES) {
        if (!bytes.empty() && !wire_fault(*type, bytes)) {
            return type->short_name;
        }
    }
    return {};
}

Event decode_event(std::span<const uint8_t> bytes, std::string_view name) {
    if (bytes.empty()) {
        throw EventError("is empty; an event contains at least its version");
    }
    for (const ProtobufCMessageDescriptor* type : EVENT_TYPES) {
        if (name == type->short_name) {
            return decode_as(*type, bytes);
        }
    }
    return decode_as(guess_type(bytes), bytes);
}

nlohmann::ordered_json sent_json(const EventField& field) {
    nlohmann::ordered_json values = nlohmann::ordered_json::array();
    for (const EventValue& value : field.values) {
        std::visit([&](const auto& typed) { values.push_back(typed); }, value);
    }
    return field.repeated ? values : values.front();
}

std::string value_text(const EventField& field, size_t index) {
    const EventValue& value = field.values.at(index);
    if (const auto* text = std::get_if<std::string>(&value)) {
        return "\"" + printable(*text) + "\"";
    }
    if (const auto* flag = std::get_if<bool>(&value)) {
        return *flag ? "yes" : "no";
    }
    return reading_text(field.unit, *number_of(value));
}

}  // namespace cellwarden::decode
