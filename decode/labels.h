// Labels of array elements, from the tables that the daemon's rules use.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "product/policy.h"

namespace cellwarden::decode {

// Returns the label of an element of a field of the record or of an event: "below 95 %", "level 3",
// "USB PD, up to 20 W", "10 days from day 120"; "[2]" if the field has no labels, or has fewer
// elements in the record.
std::string element_label(std::string_view field, size_t index);

// Return the range of a bin of the grids, in V, degC and %: "3.80 to 3.90", "above 60", "up to
// -10".
std::string voltage_bin_label(size_t bin, const UsageBins& bins = POLICY.bins);
std::string temperature_bin_label(size_t bin, const UsageBins& bins = POLICY.bins);
std::string soc_bin_label(size_t bin, const UsageBins& bins = POLICY.bins);

}  // namespace cellwarden::decode
