// The events whose date the record contains.
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

// Returns the events that have happened, sorted by date.
std::vector<Milestone> milestones_of(const BattStat& stat);

struct DischargeRecord {
    std::string condition;
    uint16_t current_ma;
    int64_t wall_s;  // 0: no such discharge yet
};

// Returns the four largest discharge currents in the order of the record.
std::vector<DischargeRecord> discharge_records_of(const BattStat& stat);

}  // namespace cellwarden::report
