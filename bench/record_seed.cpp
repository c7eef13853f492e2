#include "bench/record_seed.h"

#include <limits>
#include <nlohmann/json.hpp>

#include "decode/record_layout.h"
#include "state/batt_stat.h"

namespace cellwarden::bench {
namespace {

using decode::RecordField;

int64_t lowest(const RecordField& field) {
    return field.is_signed ? -(int64_t{1} << (8 * field.element_size - 1)) : 0;
}

// 64-bit numbers are limited to the highest signed one.
int64_t highest(const RecordField& field) {
    const size_t bits = 8 * field.element_size - (field.is_signed ? 1 : 0);
    return bits > 62 ? std::numeric_limits<int64_t>::max() : (int64_t{1} << bits) - 1;
}

void set_element(const JsonPlace& place, const RecordField& field, size_t index,
                 std::string& record) {
    const auto value = static_cast<uint64_t>(read_integer(place, lowest(field), highest(field)));
    for (size_t byte = 0; byte < field.element_size; byte++) {
        record[field.offset + index * field.stride + byte] = static_cast<char>(value >> (8 * byte));
    }
}

void set_text(const JsonPlace& place, const RecordField& field, std::string& record) {
    const std::string text = read_text(place);
    if (text.size() >= field.count) {
        fail(place, "a text of at most " + std::to_string(field.count - 1) + " bytes");
    }
    record.replace(field.offset, text.size(), text);
}

void set_field(const JsonPlace& place, const RecordField& field, std::string& record) {
    if (field.unit == decode::FieldUnit::TEXT) {
        set_text(place, field, record);
    } else if (field.count == 1) {
        set_element(place, field, 0, record);
    } else {
        if (!place.value.is_array() || place.value.size() > field.count) {
            fail(place, "an array of at most " + std::to_string(field.count) + " numbers");
        }
        for (size_t i = 0; i < place.value.size(); i++) {
            set_element(element(place, i), field, i, record);
        }
    }
}

}  // namespace

std::string read_record(const JsonPlace& place) {
    BattStat stat;
    reset_batt_stat(stat);
    std::string record(reinterpret_cast<const char*>(&stat), sizeof stat);
    if (!place.value.is_object()) {
        fail(place, "an object whose keys are fields of the record");
    }
    for (const auto& item : place.value.items()) {
        const JsonPlace value = member(place, item.key());
        const RecordField* const field = decode::find_record_field(item.key());
        if (field == nullptr) {
            fail(value, "the name of a record field as the key (see docs/record.md)");
        }
        set_field(value, *field, record);
    }
    return record;
}

}  // namespace cellwarden::bench
