// The subject of a report: the record of a phone or of a simulated life.
#pragma once

#include <string>
#include <vector>

#include "product/policy.h"
#include "state/batt_stat.h"

namespace cellwarden::report {

// The true state of health of the battery, known for simulated lives only.
struct TrueHealth {
    double online_days;
    double percent;
};

struct Subject {
    std::string name;
    std::string verdict;  // the daemon's verdict at its next start
    BattStat stat;
    Policy policy = POLICY;               // of the rules that kept the record
    std::vector<TrueHealth> true_health;  // in the order of days; empty for a phone
};

// Loads a record file, a directory of units, or the directory of a life-time run. `name` is shown
// in the page; if it is empty, the last component of the path is. Throws std::runtime_error with
// the path and the reason if there is no record that the daemon would keep.
Subject load_subject(const std::string& path, const std::string& name);

}  // namespace cellwarden::report
