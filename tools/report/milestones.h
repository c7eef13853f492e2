// What the record knows a date of.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "state/batt_stat.h"

namespace cellwarden::report {

struct Milestone {
    int64_t wall_s;
    std::string event;
};

// By date; what has not happened yet is left out.
std::vector<Milestone> milestones_of(const BattStat& stat);

struct DischargeRecord {
    std::string condition;
    uint16_t current_ma;
    int64_t wall_s;  // 0 = none yet
};

// The four largest discharge currents, in the record's order.
std::vector<DischargeRecord> discharge_records_of(const BattStat& stat);

}  // namespace cellwarden::report
