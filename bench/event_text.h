// Telemetry events as text and as JSON.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "decode/event.h"

namespace cellwarden::bench {

// Returns one line for each field that is not zero, empty or undecided: its name and its value with
// unit, for arrays the elements that are not zero. The last lines list the names of all other
// fields.
std::vector<std::string> event_lines(const decode::Event& event);

// Returns every field by name, as sent.
nlohmann::ordered_json event_json(const decode::Event& event);

}  // namespace cellwarden::bench
