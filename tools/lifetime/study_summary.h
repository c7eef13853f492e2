// The summary of a study: what the policies come to, and how they differ.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <vector>

#include "tools/lifetime/study_file.h"

namespace cellwarden::lifetime {

// Returns the quantile of sorted values, linear between them; `share` is 0 to 1.
double quantile(const std::vector<double>& sorted, double share);

// A mean with its 95 % interval.
struct MeanInterval {
    double mean;
    double low;
    double high;
};

// Returns the mean of the values, and the interval of 1,000 means of values drawn from them with
// replacement (bootstrap). Requires at least one value.
MeanInterval estimate_mean(const std::vector<double>& values, uint64_t seed);

// Returns the summary of the outcomes.csv and phones.csv in a directory, of which one column at a
// time is in memory:
//   the members of provenance_of()
//   "quantiles":    per policy, column and year: p5, p50 and p95 of the phones
//   "differences":  per other policy, column and year: the mean difference from the first policy,
//                   phone by phone, with its interval ("low", "high") and the number of phones
//   "above_80":     per policy and year 3 or 5: share of phones with a true state of health above
//   80 % "gained_and_withheld": per other policy and year: the difference from the first policy in
//   the true
//                   state of health, in the capacity withheld (mean of the years so far), and in
//                   the usable full charge
//   "lose_most":    per other policy: the ten phones whose usable full charge at the end differs
//   most
//                   to their disadvantage from that under the first policy
nlohmann::ordered_json summary_of(const Study& study, const std::filesystem::path& directory);

// Prints a summary for a terminal.
void print_summary(std::ostream& out, const nlohmann::ordered_json& summary);

}  // namespace cellwarden::lifetime
