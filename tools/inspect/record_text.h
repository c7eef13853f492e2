// A statistics record as a page of text and as JSON.
#pragma once

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>

#include "state/batt_stat.h"

namespace cellwarden::inspect {

// Width of the column of field names, in characters.
inline constexpr int NAME_WIDTH = 42;

// Prints all fields: single values on one line each, then the two grids, the chargers and the
// ten-day periods as tables. Rows and columns of the grids that contain only zeros are omitted.
void print_record(std::ostream& out, const BattStat& stat);

// Returns {"online_time": {"unit": "s", "value": 86400, "stored": 86400}, ...} in the record's
// order: `value` is the number in the unit, an ISO date, or null if there is no value yet; `stored`
// is the number in the record.
nlohmann::ordered_json record_json(const BattStat& stat);

}  // namespace cellwarden::inspect
