// Reading and writing of the kernel's attribute files.
#pragma once

#include <cstdint>

#include "platform/sysfs_params.h"

namespace cellwarden {

// Fills the snapshot with the parameters that `mask` selects. A file that is empty or cannot be
// opened counts as an empty text (0, 0.0, "", or the enum table's value for unknown texts). The
// first 4,095 characters of a longer text are used. A slot that the mask does not select gets
// KIND_NOT_READ and keeps its value. The texts are valid until cleanup_sysfs_params. Returns the
// number of slots, 134. A benchmark passes another `table` to measure with other attributes.
int32_t read_sysfs_params(const Device& device, SysfsParams& snapshot, const SysfsReadMask& mask,
                          const SysfsParamDescs& table = SysfsParamTable);

// Frees the texts of the snapshot; the values remain.
void cleanup_sysfs_params(SysfsParams& snapshot);

// Writes a parameter in its row's format from `kind` and `value` of the record. Returns 0 or more
// on success; -1 for an unknown id, a parameter without a path, a file that cannot be opened or
// written (it is never created), or a record of another kind than the format's. Logs nothing.
int32_t write_sysfs_param(const Device& device, uint32_t id, const SysfsParamValue& record);

// Writes an integer to a decimal or hex parameter, like write_sysfs_param.
int32_t write_sysfs_integer(const Device& device, SysfsParamId id, int32_t value);

// Waits until the charger driver's attributes can be written: checks once per second, at most 30
// times.
void wait_sysfs_ready(const Device& device);

// The conversions for reading and writing, for a row of the table.

// Sets `kind` and `value` of the slot from its `text` in the row's format.
void parse_sysfs_value(const SysfsParamDesc& desc, SysfsParamValue& slot);

// Returns the text to write for the record, or null if its kind is not that of the format. Writes
// numbers to `buffer`; returns texts unchanged.
inline constexpr uint32_t SYSFS_BUFFER_SIZE = 4096;
const char* format_sysfs_value(const SysfsParamDesc& desc, const SysfsParamValue& record,
                               char (&buffer)[SYSFS_BUFFER_SIZE]);

}  // namespace cellwarden
