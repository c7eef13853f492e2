// A telemetry event as the bench shows it.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "decode/event.h"

namespace cellwarden::bench {

// One line for each field that has something to tell, with its name and its value in units people
// read; of an array the elements that are not zero. The names of the fields that are zero, empty or
// undecided follow together.
std::vector<std::string> event_lines(const decode::Event& event);

// Every field by its name, as it was sent.
nlohmann::ordered_json event_json(const decode::Event& event);

}  // namespace cellwarden::bench
