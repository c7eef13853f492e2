// Files and standard input.
#pragma once

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace cellwarden::inspect {

// Wrong usage or an unreadable file: exit code 2.
struct InputError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The whole content; "-" is standard input. Throws InputError with the path and the reason.
std::vector<uint8_t> read_input(const std::string& path);

// The files of a directory in the order of their names, hidden ones left out.
std::vector<std::filesystem::path> files_of(const std::filesystem::path& directory);

}  // namespace cellwarden::inspect
