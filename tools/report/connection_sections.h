// The sections about charger connections, from ChargerInsertionRemoval events.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <vector>

#include "tools/report/subject.h"

namespace cellwarden::report {

// Returns the sections in the form of sections_of(): each connection with its charger, length,
// charge and heat; the time per kind of charger; the time per thermal level.
std::vector<nlohmann::ordered_json> connection_sections_of(const std::vector<Subject>& subjects);

}  // namespace cellwarden::report
