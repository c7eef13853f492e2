// A separate /sys for the test process, for code that opens files at their real absolute paths.
#pragma once

#include <string>

namespace cellwarden::test {

// Replaces the current /sys by an empty one.
void empty_sysfs();

// Creates or replaces a file, and creates the folders above it.
void write_file(const std::string& path, const std::string& text);

// Returns the file's content, or "(no file)".
std::string read_file(const std::string& path);

}  // namespace cellwarden::test
