// The attribute files below /sys, kept in memory: the linker sends the daemon's open(), read(),
// write() and close() here, and other files' calls on to the C library.
#pragma once

#include <string>
#include <unordered_map>

namespace cellwarden::fuzz {

// Content by path; a path that is not there cannot be opened. What the daemon writes replaces it.
extern std::unordered_map<std::string, std::string> attribute_files;

// Whether the daemon holds an attribute file open.
bool attribute_file_is_open();

}  // namespace cellwarden::fuzz
