// Attribute files at their real absolute paths, on a /sys of the test process's own, and snapshots
// made without any file.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "platform/sysfs_params.h"

namespace cellwarden::test {

// A fresh and empty /sys in place of the last one; every test starts with one.
void empty_sysfs();

// Makes or replaces an attribute file, with the folders above it.
void write_attribute(const std::string& path, const std::string& text);
void write_attribute(SysfsParamId id, const std::string& text);

// The attribute's content, or "(no file)".
std::string read_attribute(const std::string& path);
std::string read_attribute(SysfsParamId id);

// A parameter's value as a test gives it: an integer, or the text of its attribute file, from which
// the value then follows as in the daemon. The text must outlive the snapshot.
struct Given {
    SysfsParamId id;
    std::variant<int32_t, const char*> value;
};
void set_param(SysfsParams& snapshot, const Given& given);

// The snapshot of a full cycle on a phone that has only the given attributes.
SysfsParams snapshot_of(const std::vector<Given>& given);

}  // namespace cellwarden::test
