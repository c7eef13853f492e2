// The commands of cellwarden-inspect. Each prints its result on standard output and returns the
// exit code: SOUND if every input is valid or the records are equal, NOT_SOUND if the daemon would
// reset a record, an input is not an event, a unit has a wrong size, or the records differ. Throws
// InputError if a file cannot be read.
#pragma once

#include <string>
#include <vector>

namespace cellwarden::inspect {

inline constexpr const char* PROGRAM = "cellwarden-inspect";  // the start of messages
inline constexpr int SOUND = 0;
inline constexpr int NOT_SOUND = 1;

int show_record(const std::string& path, bool as_json);

// Compares two records; the newest ageing event of an input with events counts as its record.
// `phones` are the keys of the phones to compare if an input has several; empty: its only phone.
int show_difference(const std::string& path_a, const std::string& path_b,
                    const std::vector<std::string>& phones, bool as_json);

int show_units(const std::string& directory);

enum class EventFormat { TEXT, JSON_LINES, STREAM };

// `paths` are packed events, streams, and directories of them. `name` is the name of the event;
// empty if the file name or the content shows it.
int show_events(const std::vector<std::string>& paths, const std::string& name, EventFormat format);

}  // namespace cellwarden::inspect
