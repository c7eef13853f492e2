// The vocabulary of the kernel's battery and charger attributes: one table of 134 parameters with
// the path and text format of each, the enum tables of five of them, and the record of one value.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace cellwarden {

struct Device;

// PARAM_<NAME> for every row of product/attributes.inc; the value is the parameter's id, 0 to 133.
enum SysfsParamId : uint32_t {
#define SYSFS_PARAM(id, name, path, format, table) PARAM_##name,
#include "product/attributes.inc"
    PARAM_END
};
#define SYSFS_PARAM(id, name, path, format, table) static_assert(PARAM_##name == (id));
#include "product/attributes.inc"

inline constexpr size_t SYSFS_PARAM_COUNT = PARAM_END;

// How an attribute's text becomes a value and back.
enum SysfsFormat : uint32_t {
    FORMAT_DECIMAL = 0,         // signed 32-bit integer, base 10
    FORMAT_HEX = 1,             // 32-bit integer, base 16
    FORMAT_FLOAT = 2,           // 32-bit float
    FORMAT_TEXT = 3,            // the text itself
    FORMAT_ENUM = 4,            // value of the enum row whose text equals the attribute's
    FORMAT_ENUM_TEXT = 5,       // text pointer of that row
    FORMAT_CONVERTED_INT = 6,   // result of the row's converter
    FORMAT_CONVERTED_TEXT = 7,  // pointer result of the row's converter
};

enum SysfsKind : int32_t {
    KIND_NOT_READ = -1,
    KIND_TEXT = 0,
    KIND_INTEGER = 1,
    KIND_FLOAT = 2,
};

// The value of one parameter; the slot's kind says which member holds.
union SysfsValue {
    uint64_t bits;
    int32_t integer;
    float real;
    const char* text;
};
static_assert(sizeof(SysfsValue) == 8);

// One slot of the snapshot, and the record handed to write_sysfs_param (which uses `kind` and
// `value` only).
struct SysfsParamValue {
    char* raw = nullptr;    // heap copy of the attribute's text without its last newline, owned by
                            // the slot; null when nothing was read
    const char* text = "";  // `raw` where there is one, else ""
    int32_t kind = KIND_NOT_READ;
    SysfsValue value{.bits = 0};  // a text value points at `text`: valid until the cycle's end
};

// This cycle's values, indexed by SysfsParamId.
using SysfsParams = std::array<SysfsParamValue, SYSFS_PARAM_COUNT>;

// One byte per parameter; non-zero: the parameter is read in this cycle.
using SysfsReadMask = std::array<uint8_t, SYSFS_PARAM_COUNT>;

// One row of an enum table. The terminating row has no text; its value stands for "no match".
struct SysfsEnumEntry {
    const char* text;
    SysfsValue value;
};

// One row of the parameter table.
struct SysfsParamDesc {
    uint32_t path_is_generated;  // 0: `path`; 1: `path_generator`; else never read or written
    union {
        const char* path;
        // May return null: the parameter is then skipped.
        const char* (*path_generator)(const Device& device);
    };
    uint32_t format;
    union {
        const SysfsEnumEntry* enum_table;          // formats 4 and 5
        int32_t (*to_integer)(const char* text);   // format 6
        const char* (*to_text)(const char* text);  // format 7
    };
    size_t name_at =
        0;  // where the attribute's name begins in a fixed path; 0: the path is generated
};

using SysfsParamDescs = std::array<SysfsParamDesc, SYSFS_PARAM_COUNT>;
extern const SysfsParamDescs SysfsParamTable;

// The integer of a parameter in this cycle; 0 where it was not read or its file is missing.
inline int32_t param_integer(const SysfsParams& snapshot, SysfsParamId id) {
    return snapshot[id].value.integer;
}

}  // namespace cellwarden
