// The folders that are shipped with the programs: data files, and the daemon for the bench.
#pragma once

#include <filesystem>
#include <string>

namespace cellwarden {

// Returns the folder `name` of the shipped data, for example "profiles": share/cellwarden/NAME of
// the installation that contains this program. For a program of a build folder, data/NAME in that
// folder, a link to the sources. Throws InputError if neither exists.
std::filesystem::path data_folder(const std::string& name);

// Returns the folder with the daemon and the stand-ins of the phone's libraries: libexec/cellwarden
// of the installation, or the build folder. The content may be missing.
std::filesystem::path daemon_folder();

}  // namespace cellwarden
