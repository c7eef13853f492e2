// The parts of a section's description; sections.h documents the whole.
#pragma once

#include <nlohmann/json.hpp>

namespace cellwarden::report {

// Returns a column of a table. `digits` is the number of decimals in the table; -1: all.
nlohmann::ordered_json column(const char* name, const char* title, const char* unit = "",
                              int digits = -1);

// Returns a section without tables.
nlohmann::ordered_json section(const char* id, const char* kind, const char* title,
                               const char* about, nlohmann::ordered_json columns);

// Returns the settings of a chart of bars: the columns of their labels and lengths, the title of
// the axis, and the format of the length.
nlohmann::ordered_json bars(const char* label, const char* length, const char* title,
                            const char* format);

}  // namespace cellwarden::report
