#include "decode/event_record.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <limits>

#include "common/text.h"
#include "decode/record_layout.h"
#include "decode/verdict.h"

namespace cellwarden::decode {
namespace {

// The record stores these currents as magnitudes; the event has them as negative numbers.
constexpr std::array<std::string_view, 4> MAGNITUDES = {
    "max_discharge_current", "max_dischg_cur_3500mv_10c", "max_dischg_cur_3500mv_5c",
    "max_dischg_cur_3500mv_0c"};

uint8_t* element_of(BattStat& stat, const RecordField& field, size_t index) {
    return reinterpret_cast<uint8_t*>(&stat) + field.offset + index * field.stride;
}

template <typename T>
bool store_as(uint8_t* bytes, int64_t number) {
    const T narrow = static_cast<T>(number);
    if (static_cast<int64_t>(narrow) != number) {
        return false;
    }
    memcpy(bytes, &narrow, sizeof narrow);
    return true;
}

// Stores the number if the element can hold it, and returns whether it can. 64-bit elements hold
// all bits of the event's.
bool store(BattStat& stat, const RecordField& field, size_t index, int64_t number) {
    uint8_t* const bytes = element_of(stat, field, index);
    switch (field.element_size) {
        case 1:
            return store_as<uint8_t>(bytes, number);
        case 2:
            return field.is_signed ? store_as<int16_t>(bytes, number)
                                   : store_as<uint16_t>(bytes, number);
        case 4:
            return store_as<uint32_t>(bytes, number);
        default:
            return store_as<int64_t>(bytes, number);
    }
}

// Returns the number in the record's form.
int64_t stored_form(const EventField& field, int64_t sent) {
    if (std::find(MAGNITUDES.begin(), MAGNITUDES.end(), field.name) != MAGNITUDES.end()) {
        return -sent;  // sent in 32 bits
    }
    return field.unit == FieldUnit::LEVEL && field.repeated && sent == UINT32_MAX ? UINT8_MAX
                                                                                  : sent;
}

void store_numbers(RecordOfEvent& found, const RecordField& field, const EventField& sent) {
    for (size_t i = 0; i < sent.values.size(); i++) {
        const auto number = number_of(sent.values[i]);
        const std::string place = place_of(sent, i);
        if (i >= field.count) {
            found.oddities.push_back(place + ": the record has only " +
                                     std::to_string(field.count) + " elements");
            return;
        }
        if (!number || !store(found.stat, field, i, stored_form(sent, *number))) {
            found.oddities.push_back(place + ": " + value_text(sent, i) +
                                     " does not fit into the record");
        }
    }
    if (sent.values.size() < field.count) {
        found.oddities.push_back(std::string(field.name) + ": " +
                                 std::to_string(sent.values.size()) + " elements, expected " +
                                 std::to_string(field.count));
    }
}

void store_text(RecordOfEvent& found, const RecordField& field, const std::string& text) {
    if (text.size() > field.count) {
        found.oddities.push_back(std::string(field.name) + ": " + std::to_string(text.size()) +
                                 " bytes, expected at most " + std::to_string(field.count));
    }
    text.copy(reinterpret_cast<char*>(element_of(found.stat, field, 0)), field.count);
}

// Stores a version such as "5.2.4". Throws EventError.
void store_version(BattStat& stat, const std::string& text) {
    const char* at = text.data();
    const char* const end = at + text.size();
    for (size_t i = 0; i < stat.version.size(); i++) {
        const auto [next, error] = std::from_chars(at, end, stat.version[i]);
        const bool is_last = i + 1 == stat.version.size();
        if (error != std::errc() || (is_last ? next != end : next == end || *next != '.')) {
            throw EventError("version \"" + printable(text) +
                             "\", expected three numbers such as \"5.2.4\"");
        }
        at = next + 1;
    }
}

}  // namespace

RecordOfEvent record_of_event(const Event& event) {
    if (event.name != event_names().front()) {
        throw EventError("is a " + std::string(event.name) + " event, expected " +
                         std::string(event_names().front()));
    }
    RecordOfEvent found{};
    reset_batt_stat(found.stat);
    for (const RecordField& field : record_fields()) {
        const EventField* const sent = find_field(event, field.name);
        if (sent == nullptr) {
            found.missing.push_back(field.name);
        } else if (field.unit == FieldUnit::VERSION) {
            store_version(found.stat, std::get<std::string>(sent->values.front()));
        } else if (field.unit == FieldUnit::TEXT) {
            store_text(found, field, std::get<std::string>(sent->values.front()));
        } else {
            store_numbers(found, field, *sent);
        }
    }
    const auto* const bytes = reinterpret_cast<const uint8_t*>(&found.stat);
    const Judgement judgement = judge_record({bytes, sizeof found.stat});
    if (!is_kept(judgement)) {
        throw EventError("describes a record that the daemon would not keep: " + judgement.reason);
    }
    return found;
}

}  // namespace cellwarden::decode
