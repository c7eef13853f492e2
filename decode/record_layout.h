// The fields of the statistics record by name, from the daemon's own list of them. Nothing here
// knows an offset: record and list do.
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

// One named field: `count` numbers of `element_size` bytes, the next one `stride` bytes on. The
// entries of dev_attach are three such fields, under the names of their members.
struct RecordField {
    std::string_view name;
    FieldUnit unit;
    size_t offset;
    size_t element_size;  // 1, 2, 4 or 8
    size_t stride;
    size_t count;
    bool is_signed;
};

// In the order of their offsets.
const std::vector<RecordField>& record_fields();

// The field of that name; nullptr where there is none.
const RecordField* find_record_field(std::string_view name);

// Element `index` of a field, as it is stored. A 64-bit number is taken as signed: the daemon
// stores online times with their sign carried into 64 bits, and times before 2262 are positive.
int64_t stored_value(const BattStat& stat, const RecordField& field, size_t index);

// The text of a field of unit TEXT, up to its zero byte or its whole length.
std::string stored_text(const BattStat& stat, const RecordField& field);

// The version bytes, as in "5.2.4".
std::string version_text(const uint8_t* version);

// A stretch of bytes that no field covers: zero in every record that the daemon wrote.
struct ReservedBytes {
    size_t offset;
    size_t size;
};
const std::vector<ReservedBytes>& reserved_bytes();

// Where an offset of the record falls: "online_time", "fcc_mah[3]", "reserved bytes".
std::string place_of(size_t offset);

}  // namespace cellwarden::decode
