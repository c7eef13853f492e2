// The fields of the statistics record by name, from the daemon's own field list
// (state/batt_stat_fields.inc).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "decode/reading.h"
#include "state/batt_stat.h"

namespace cellwarden::decode {

// A named field: `count` numbers of `element_size` bytes, `stride` bytes apart. dev_attach appears
// as three fields, one for each member of its entries.
struct RecordField {
    std::string_view name;
    FieldUnit unit;
    size_t offset;
    size_t element_size;  // 1, 2, 4 or 8
    size_t stride;
    size_t count;
    bool is_signed;
};

// Returns all fields in the order of their offsets.
const std::vector<RecordField>& record_fields();

// Returns the field with that name; nullptr if there is no such field.
const RecordField* find_record_field(std::string_view name);

// Returns the stored number of element `index`. 64-bit numbers are read as signed: the daemon
// sign-extends online times, and wall times stay positive until 2262.
int64_t stored_value(const BattStat& stat, const RecordField& field, size_t index);

// Returns the text of a field of unit TEXT, up to its first zero byte or its full length.
std::string stored_text(const BattStat& stat, const RecordField& field);

// Returns the three version bytes as text: "5.2.4".
std::string version_text(const uint8_t* version);

// A range of bytes that belongs to no field; zero in records that the daemon writes.
struct ReservedBytes {
    size_t offset;
    size_t size;
};
const std::vector<ReservedBytes>& reserved_bytes();

// Returns the name of what an offset belongs to: "online_time", "fcc_mah[3]", "reserved bytes".
std::string place_of(size_t offset);

}  // namespace cellwarden::decode
