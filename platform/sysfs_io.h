// Moving values between the kernel's attribute files and the daemon.
#pragma once

#include <cstdint>

#include "platform/sysfs_params.h"

namespace cellwarden {

// Fills the snapshot with the parameters that `mask` selects. A file that cannot be opened or holds
// nothing is parsed from the empty text (0, 0.0, "", or the enum table's no-match value). Of a
// longer text the first 4,095 characters are kept. A slot that the mask leaves out gets
// KIND_NOT_READ and keeps its value. The texts stay valid until cleanup_sysfs_params. Returns the
// number of slots, 134. `table` is another one where a benchmark measures on other attributes.
int32_t read_sysfs_params(const Device& device, SysfsParams& snapshot, const SysfsReadMask& mask,
                          const SysfsParamDescs& table = SysfsParamTable);

// Frees the texts of the snapshot; the values stay.
void cleanup_sysfs_params(SysfsParams& snapshot);

// Writes one parameter in its row's format, taking `kind` and `value` of the record. Returns 0 or
// more on success; -1 for an unknown id, a parameter without a path, a file that cannot be opened
// or written (it is never created), or a record that does not fit the format. Logs nothing.
int32_t write_sysfs_param(const Device& device, uint32_t id, const SysfsParamValue& record);

// Writes an integer to a decimal or hex parameter; as write_sysfs_param.
int32_t write_sysfs_integer(const Device& device, SysfsParamId id, int32_t value);

// Waits until the charger driver's attributes can be written: one look a second, 30 looks at most.
void wait_sysfs_ready(const Device& device);

// The two conversions behind reading and writing, for one row of the table.

// Sets `kind` and `value` of the slot from its `text` as the row's format says.
void parse_sysfs_value(const SysfsParamDesc& desc, SysfsParamValue& slot);

// The text to write for the record, or null where record and format do not fit. Numbers are written
// into `buffer`; texts are returned as they stand.
inline constexpr uint32_t SYSFS_BUFFER_SIZE = 4096;
const char* format_sysfs_value(const SysfsParamDesc& desc, const SysfsParamValue& record,
                               char (&buffer)[SYSFS_BUFFER_SIZE]);

}  // namespace cellwarden
