// A statistics record as a page of text and as JSON.
#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "state/batt_stat.h"

namespace cellwarden::inspect {

// All fields: single ones a line each, then the two grids, the chargers and the ten-day periods as
// tables. Of the tables, rows and columns without a count are left out.
void print_record(std::ostream& out, const BattStat& stat);

// {"online_time": {"unit": "s", "value": 86400, "stored": 86400}, ...} in the record's order:
// `value` as people read it (numbers in the unit, ISO dates, null for what is not there yet),
// `stored` as it lies in the record.
nlohmann::ordered_json record_json(const BattStat& stat);

// What the daemon accepts and never writes itself: each line names the field, its value and what
// was expected.
std::vector<std::string> oddities_of(const BattStat& stat);

}  // namespace cellwarden::inspect
