// What a report is about: the record of one phone, or of one simulated life.
#pragma once

#include <string>
#include <vector>

#include "state/batt_stat.h"

namespace cellwarden::report {

// The battery's real state of health, which only a simulated life knows.
struct TrueHealth {
    double online_days;
    double percent;
};

struct Subject {
    std::string name;
    std::string verdict;  // what the daemon would make of the record
    BattStat stat;
    std::vector<TrueHealth> true_health;  // by day; empty for a phone
};

// `path` is a record file, a directory of units, or the directory of a life-time run; `name` shows
// in the page, and is taken from the path where it is empty. Throws std::runtime_error with the
// path and the reason where there is no record that the daemon would keep.
Subject load_subject(const std::string& path, const std::string& name);

}  // namespace cellwarden::report
