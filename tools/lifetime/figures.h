// The figures of a run, from its final record and its life, and the comparison of two runs.
#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>
#include <vector>

#include "tools/lifetime/life.h"

namespace cellwarden::lifetime {

// A change of the level that the driver is given.
struct LevelChange {
    int64_t online_time_s;
    int32_t level;
};

// "figures": a number for each name, which carries its unit; "levels": each change of the level
// with its day of online time.
nlohmann::ordered_json figures_of(const Life& life, uint32_t event_count,
                                  const std::vector<LevelChange>& changes);

// Prints the figures of two summaries (run_directory.h) side by side, then their levels. Returns
// whether every figure and level is the same.
bool print_comparison(std::ostream& out, const nlohmann::ordered_json& a,
                      const nlohmann::ordered_json& b);

}  // namespace cellwarden::lifetime
