// The final figures of a run, and the comparison of two runs.
#pragma once

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "tools/lifetime/life.h"

namespace cellwarden::lifetime {

inline constexpr double SOH_PER_PERCENT = 1000;  // the record counts 0.001 %

// A change of the level that the daemon writes to the driver.
struct LevelChange {
    int64_t online_time_s;
    int32_t level;
};

// Returns {"figures": {name with unit: number}, "cell": name, "outside": [what was outside the
// range of the cell's terms, and for how many days], "levels": [each change of the level with its
// day of online time]}.
nlohmann::ordered_json figures_of(const Life& life, uint32_t event_count,
                                  const std::vector<LevelChange>& changes);

// Returns the name of the policy of a summary.
std::string policy_name(const nlohmann::ordered_json& summary);

// Returns why a difference between two summaries is not one of the policies alone: "seed: 1 and 2".
// Years, profile, seed and the record
// from which the lives went on must be equal.
std::vector<std::string> doubts_of_comparison(const nlohmann::ordered_json& a,
                                              const nlohmann::ordered_json& b);

// Prints the figures of two summaries (run_directory.h) side by side, then their level changes.
// Returns whether all figures and levels are equal.
bool print_comparison(std::ostream& out, const nlohmann::ordered_json& a,
                      const nlohmann::ordered_json& b);

}  // namespace cellwarden::lifetime
