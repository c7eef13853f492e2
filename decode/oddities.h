// Values that the daemon accepts but never writes.
#pragma once

#include <string>
#include <vector>

#include "decode/event.h"
#include "state/batt_stat.h"

namespace cellwarden::decode {

// Returns a line for each value outside the range of its unit and for reserved bytes that are not
// zero: the place, the value and its reading.
std::vector<std::string> oddities_of(const BattStat& stat);

// Returns a line for each value of an event that is outside the range of its unit.
std::vector<std::string> oddities_of(const Event& event);

}  // namespace cellwarden::decode
