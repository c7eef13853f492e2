// The sections of a report: for each chart its numbers, once, as the table behind it and as what is
// drawn.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/report/subject.h"

namespace cellwarden::report {

// Each section: {id, title, about, kind, columns: [{name, title, unit?, digits?}], tables: [one per
// subject: [row: [cell per column]]], and what its kind of chart needs}. A cell is a number, a
// text, or null where nothing is known.
nlohmann::ordered_json sections_of(const std::vector<Subject>& subjects);

// The summary of one subject, as {title, text} rows; the same titles for every subject.
std::vector<std::pair<std::string, std::string>> facts_of(const Subject& subject);

}  // namespace cellwarden::report
