// The commands of cellwarden-inspect. Each prints its answer on standard output and returns the
// exit code: 0 = sound, or nothing differs; 1 = the daemon would reset a record, an event is none,
// a unit is not as it should be, or something differs. Throws InputError where a file cannot be
// read.
#pragma once

#include <string>
#include <vector>

namespace cellwarden::inspect {

inline constexpr int SOUND = 0;
inline constexpr int NOT_SOUND = 1;

int show_record(const std::string& path, bool as_json);
int show_difference(const std::string& path_a, const std::string& path_b);
int show_units(const std::string& directory);

enum class EventFormat { TEXT, JSON_LINES };

// A directory stands for the files in it. `name` is the event's name where neither the file's name
// nor its content tells; empty otherwise.
int show_events(const std::vector<std::string>& paths, const std::string& name, EventFormat format);

}  // namespace cellwarden::inspect
