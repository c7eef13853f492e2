// Attribute files at their real absolute paths, on a /sys of the test process's own.
#pragma once

#include <string>

#include "platform/sysfs_params.h"
#include "support/snapshot.h"

namespace cellwarden::test {

// A fresh and empty /sys in place of the last one; every test starts with one.
void empty_sysfs();

// Makes or replaces an attribute file, with the folders above it.
void write_attribute(const std::string& path, const std::string& text);
void write_attribute(SysfsParamId id, const std::string& text);

// The attribute's content, or "(no file)".
std::string read_attribute(const std::string& path);
std::string read_attribute(SysfsParamId id);

}  // namespace cellwarden::test
