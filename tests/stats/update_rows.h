// Tables for the steps of the statistics: the changes of the record in the second of two calls.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "stats/batt_stat_update.h"
#include "support/phone.h"
#include "support/record.h"

namespace cellwarden::test {

// Boot clock of the first call. The low 32 bits of the second call's wall clock are 7.
inline constexpr int64_t FIRST_CALL = 1000;
inline constexpr int64_t WALL = 0x1'0000'0007;

struct UpdateRow {
    const char* name;
    std::vector<Given> before;  // readings of the first call; all others are 0
    std::vector<Given> now;     // readings that differ in the second call
    std::string changes;        // changes in the second call, in the format of support/record.h
    int64_t seconds = 60;       // time between the calls
    std::string stored{};       // elements of the record before the second call that differ from a reset record
};

// A step of the update.
using Update = void(const StatStep& step);

inline void check_updates(Update* update, std::initializer_list<UpdateRow> rows) {
    for (const UpdateRow& row : rows) {
        ServiceState state{.clock = {.cycle_boot_time = FIRST_CALL, .cycle_wall_time = WALL - row.seconds}};
        BattStat stat;
        reset_batt_stat(stat);
        SysfsParams snapshot = snapshot_of(row.before);
        update({device, state, snapshot, state.stat_update, stat});
        reset_batt_stat(stat);
        apply_changes(stat, row.stored);
        const BattStat before = stat;
        for (const Given& given : row.now) {
            set_param(snapshot, given);
        }
        state.clock.cycle_boot_time = FIRST_CALL + row.seconds;
        state.clock.cycle_wall_time = WALL;
        update({device, state, snapshot, state.stat_update, stat});
        EXPECT_EQ(changes(before, stat), row.changes) << row.name;
    }
}

// Checks the changes of the first call after start-up to a record with the elements of `stored` and of the row.
struct FirstCallRow {
    const char* name;
    std::vector<Given> now;
    std::string changes;
    std::string stored{};
};

inline void check_first_calls(Update* update, std::initializer_list<FirstCallRow> rows,
                              const std::string& stored = "") {
    for (const FirstCallRow& row : rows) {
        ServiceState state{.clock = {.cycle_boot_time = FIRST_CALL, .cycle_wall_time = WALL}};
        BattStat stat;
        reset_batt_stat(stat);
        apply_changes(stat, stored + " " + row.stored);
        const BattStat before = stat;
        update({device, state, snapshot_of(row.now), state.stat_update, stat});
        EXPECT_EQ(changes(before, stat), row.changes) << row.name;
    }
}

}  // namespace cellwarden::test
