#include "decode/record_layout.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <type_traits>

namespace cellwarden::decode {
namespace {

template <typename Member>
struct Elements {
    using Type = Member;
    static constexpr size_t COUNT = 1;
};
template <typename Element, size_t N>
struct Elements<std::array<Element, N>> {
    using Type = Element;
    static constexpr size_t COUNT = N;
};

template <typename Member>
RecordField field_of(std::string_view name, FieldUnit unit, size_t offset) {
    using Element = typename Elements<Member>::Type;
    return {.name = name,
            .unit = unit,
            .offset = offset,
            .element_size = sizeof(Element),
            .stride = sizeof(Element),
            .count = Elements<Member>::COUNT,
            .is_signed = std::is_signed_v<Element>};
}

// A member of all entries of dev_attach.
RecordField charger_field(std::string_view name, FieldUnit unit, size_t offset) {
    return {.name = name,
            .unit = unit,
            .offset = offsetof(BattStat, dev_attach) + offset,
            .element_size = sizeof(uint32_t),
            .stride = sizeof(DevAttachEntry),
            .count = CHARGER_CLASS_COUNT,
            .is_signed = false};
}

void add_field(std::vector<RecordField>& fields, const RecordField& field) {
    if (field.unit != FieldUnit::CHARGER) {
        fields.push_back(field);
        return;
    }
    fields.push_back(charger_field("dev_attach_count", FieldUnit::COUNT,
                                   offsetof(DevAttachEntry, dev_attach_count)));
    fields.push_back(charger_field("dev_attach_total_time", FieldUnit::SECONDS,
                                   offsetof(DevAttachEntry, dev_attach_total_time)));
    fields.push_back(charger_field("dev_charge_count", FieldUnit::SOC,
                                   offsetof(DevAttachEntry, dev_charge_count)));
}

std::vector<RecordField> all_fields() {
    std::vector<RecordField> fields;
#define BATT_STAT_FIELD(offset, name, unit, ...) \
    add_field(fields, field_of<decltype(BattStat::name)>(#name, FieldUnit::unit, offset));
#include "state/batt_stat_fields.inc"
    return fields;
}

std::vector<ReservedBytes> all_reserved_bytes() {
    std::array<bool, sizeof(BattStat)> used{};
    for (const RecordField& field : record_fields()) {
        for (size_t i = 0; i < field.count; i++) {
            std::fill_n(used.begin() + static_cast<ptrdiff_t>(field.offset + i * field.stride),
                        field.element_size, true);
        }
    }
    std::vector<ReservedBytes> stretches;
    for (auto at = std::find(used.begin(), used.end(), false); at != used.end();) {
        const auto end = std::find(at, used.end(), true);
        stretches.push_back(
            {static_cast<size_t>(at - used.begin()), static_cast<size_t>(end - at)});
        at = std::find(end, used.end(), false);
    }
    return stretches;
}

// Numbers are little-endian, like every supported machine.
template <typename T>
int64_t number_at(const uint8_t* bytes) {
    T number;
    memcpy(&number, bytes, sizeof number);
    return static_cast<int64_t>(number);
}

const uint8_t* bytes_of(const BattStat& stat) {
    return reinterpret_cast<const uint8_t*>(&stat);
}

}  // namespace

const std::vector<RecordField>& record_fields() {
    static const std::vector<RecordField> fields = all_fields();
    return fields;
}

const RecordField* find_record_field(std::string_view name) {
    for (const RecordField& field : record_fields()) {
        if (field.name == name) {
            return &field;
        }
    }
    return nullptr;
}

int64_t stored_value(const BattStat& stat, const RecordField& field, size_t index) {
    const uint8_t* const bytes = bytes_of(stat) + field.offset + index * field.stride;
    switch (field.element_size) {
        case 1:
            return field.is_signed ? number_at<int8_t>(bytes) : number_at<uint8_t>(bytes);
        case 2:
            return field.is_signed ? number_at<int16_t>(bytes) : number_at<uint16_t>(bytes);
        case 4:
            return field.is_signed ? number_at<int32_t>(bytes) : number_at<uint32_t>(bytes);
        default:
            return number_at<int64_t>(bytes);
    }
}

std::string stored_text(const BattStat& stat, const RecordField& field) {
    const char* const text = reinterpret_cast<const char*>(bytes_of(stat) + field.offset);
    return {text, strnlen(text, field.count)};
}

std::string version_text(const uint8_t* version) {
    return std::to_string(version[0]) + "." + std::to_string(version[1]) + "." +
           std::to_string(version[2]);
}

const std::vector<ReservedBytes>& reserved_bytes() {
    static const std::vector<ReservedBytes> stretches = all_reserved_bytes();
    return stretches;
}

std::string place_of(size_t offset) {
    for (const RecordField& field : record_fields()) {
        if (offset < field.offset) {
            continue;
        }
        const size_t index = (offset - field.offset) / field.stride;
        if (index < field.count && (offset - field.offset) % field.stride < field.element_size) {
            const std::string name(field.name);
            return field.count == 1 ? name : name + "[" + std::to_string(index) + "]";
        }
    }
    return "reserved bytes";
}

}  // namespace cellwarden::decode
