// A /sys of the test process's own, for code that opens files at their real absolute paths.
#pragma once

#include <string>

namespace cellwarden::test {

// A fresh and empty /sys in place of the last one.
void empty_sysfs();

// Makes or replaces a file, with the folders above it.
void write_file(const std::string& path, const std::string& text);

// The file's content, or "(no file)".
std::string read_file(const std::string& path);

}  // namespace cellwarden::test
