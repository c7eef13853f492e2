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

// Conversions between an attribute's text and its value.
enum SysfsFormat : uint32_t {
    FORMAT_DECIMAL = 0,         // signed 32-bit integer, base 10
    FORMAT_HEX = 1,             // 32-bit integer, base 16
    FORMAT_FLOAT = 2,           // 32-bit float
    FORMAT_TEXT = 3,            // the text itself
    FORMAT_ENUM = 4,            // value of the enum row with the attribute's text
    FORMAT_ENUM_TEXT = 5,       // text in the value of that row
    FORMAT_CONVERTED_INT = 6,   // integer from the row's converter
    FORMAT_CONVERTED_TEXT = 7,  // text from the row's converter
};

enum SysfsKind : int32_t {
    KIND_NOT_READ = -1,
    KIND_TEXT = 0,
    KIND_INTEGER = 1,
    KIND_FLOAT = 2,
};

// The value of one parameter; the slot's `kind` determines the member in use.
union SysfsValue {
    uint64_t bits;
    int32_t integer;
    float real;
    const char* text;
};
static_assert(sizeof(SysfsValue) == 8);

// One slot of the snapshot, and the argument of write_sysfs_param, which uses only `kind` and
// `value`.
struct SysfsParamValue {
    // Heap copy of the attribute's text without its last newline, owned by the slot; null if there
    // is no text.
    char* raw = nullptr;
    const char* text = "";  // `raw`, or "" if `raw` is null
    int32_t kind = KIND_NOT_READ;
    SysfsValue value{.bits = 0};  // a text is valid until the end of the cycle
};

// This cycle's values, indexed by SysfsParamId.
using SysfsParams = std::array<SysfsParamValue, SYSFS_PARAM_COUNT>;

// One byte per parameter. A parameter with a non-zero byte is read in this cycle.
using SysfsReadMask = std::array<uint8_t, SYSFS_PARAM_COUNT>;

// One row of an enum table. The last row has no text; it has the value of every other text.
struct SysfsEnumEntry {
    const char* text;
    SysfsValue value;
};

// One row of the parameter table.
struct SysfsParamDesc {
    uint32_t path_is_generated;  // 0: `path`; 1: `path_generator`; other: never read or written
    union {
        const char* path;
        // If it returns null, the parameter is skipped.
        const char* (*path_generator)(const Device& device);
    };
    uint32_t format;
    union {
        const SysfsEnumEntry* enum_table;          // formats 4 and 5
        int32_t (*to_integer)(const char* text);   // format 6
        const char* (*to_text)(const char* text);  // format 7
    };
    // Position of the attribute's name in `path`; 0 if the path is generated.
    size_t name_at = 0;
};

using SysfsParamDescs = std::array<SysfsParamDesc, SYSFS_PARAM_COUNT>;
extern const SysfsParamDescs SysfsParamTable;

// Returns a parameter's integer in this cycle; 0 if it was not read or its file is missing.
inline int32_t param_integer(const SysfsParams& snapshot, SysfsParamId id) {
    return snapshot[id].value.integer;
}

}  // namespace cellwarden
