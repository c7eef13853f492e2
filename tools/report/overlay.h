// Life-time runs over each other: their series in common charts, and what the runs depend on.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace cellwarden::report {

// Returns sections for those of the inputs ("PATH" or "NAME=PATH") that are directories of
// life-time runs: with two or more series, the charts of each quantity with the differences from
// the first run; with a run.json, the provenance of the runs. Throws InputError with the path and
// the reason.
nlohmann::ordered_json run_sections(const std::vector<std::string>& inputs);

}  // namespace cellwarden::report
