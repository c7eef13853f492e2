#include "tools/report/milestones.h"

#include <algorithm>

#include "decode/labels.h"
#include "decode/reading.h"
#include "stats/batt_stat_update.h"

namespace cellwarden::report {
namespace {

using decode::FieldUnit;

void add(std::vector<Milestone>& milestones, uint64_t wall_s, const std::string& event) {
    if (wall_s != 0) {
        milestones.push_back({static_cast<int64_t>(wall_s), event});
    }
}

}  // namespace

std::vector<DischargeRecord> discharge_records_of(const BattStat& stat) {
    std::vector<DischargeRecord> records;
    for (size_t i = 0; i < DISCHARGE_MAXIMA.size(); i++) {
        records.push_back({decode::element_label("max_discharge_time", i),
                           stat.*DISCHARGE_MAXIMA[i], stat.max_discharge_time[i]});
    }
    return records;
}

std::vector<Milestone> milestones_of(const BattStat& stat) {
    std::vector<Milestone> milestones;
    add(milestones, stat.initialized_time, "statistics begin");
    for (size_t i = 0; i < stat.first_soh_time.size(); i++) {
        add(milestones, stat.first_soh_time[i],
            "state of health " + decode::element_label("first_soh_time", i));
    }
    add(milestones, stat.last_learning_time, "capacity last learned");
    add(milestones, stat.max_temp_time,
        "hottest, " + decode::reading_text(FieldUnit::DECIC, stat.max_temp));
    add(milestones, stat.min_temp_time,
        "coldest, " + decode::reading_text(FieldUnit::DECIC, stat.min_temp));
    add(milestones, stat.max_cell_voltage_time,
        "highest cell voltage, " + decode::reading_text(FieldUnit::CELL_MV, stat.max_cell_voltage));
    for (const DischargeRecord& record : discharge_records_of(stat)) {
        add(milestones, static_cast<uint64_t>(record.wall_s),
            "largest discharge (" + record.condition + "), " + std::to_string(record.current_ma) +
                " mA");
    }
    std::stable_sort(milestones.begin(), milestones.end(),
                     [](const Milestone& a, const Milestone& b) { return a.wall_s < b.wall_s; });
    return milestones;
}

}  // namespace cellwarden::report
