// What the elements of an array stand for, from the tables that the daemon's rules walk.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace cellwarden::decode {

// "below 95 %", "level 3", "types 15, 16 up to 20 W", "10 days from day 120"; "[2]" where an
// element has no meaning of its own. Fields of the record and of the events, by name.
std::string element_label(std::string_view field, size_t index);

// Range of a bin of the grids, in volts, degC and per cent: "3.8 to 3.9", "above 60", "up to -10".
std::string voltage_bin_label(size_t bin);
std::string temperature_bin_label(size_t bin);
std::string soc_bin_label(size_t bin);

}  // namespace cellwarden::decode
