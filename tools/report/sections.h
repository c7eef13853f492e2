// The sections of a report. The numbers of each chart appear once, and serve its table and its
// drawing.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "tools/report/subject.h"

namespace cellwarden::report {

// Returns an array of sections: {id, title, about, kind, columns: [{name, title, unit?, digits?}],
// tables: [one per subject: [row: [cell per column]]], notes: [one per
// subject, for an empty table], and the settings of its kind of chart}. A
// cell is a number, a text, or null if the value is unknown.
nlohmann::ordered_json sections_of(const std::vector<Subject>& subjects);

// Returns the summary of one subject as {title, text} rows, with the same titles for every subject.
std::vector<std::pair<std::string, std::string>> facts_of(const Subject& subject);

}  // namespace cellwarden::report
