// Tables of calls of update_batt_stat and what the record shows after them.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

#include "stats/batt_stat_update.h"
#include "support/sysfs.h"

namespace cellwarden::test {

inline constexpr int64_t WALL_AT_BOOT = 1'700'000'000;

// In place of a parameter: the level that soft charge has chosen.
inline constexpr auto MODE = static_cast<SysfsParamId>(SYSFS_PARAM_COUNT);

using Figures = std::vector<int64_t>;

// A boot time, then the values of the table's parameters; those left out stay as they were.
using Call = std::vector<int32_t>;

struct CallsRow {
    const char* name;
    std::vector<Call> calls;
    Figures expected;
};

struct Battery {
    ServiceState state;
    BattStat stat;
    SysfsParams snapshot = snapshot_of({});
    int64_t wall_at_boot = WALL_AT_BOOT;

    Battery() { reset_batt_stat(stat); }

    void call(int64_t now) {
        state.cycle_boot_time = now;
        state.cycle_wall_time = wall_at_boot + now;
        update_batt_stat(state, stat, snapshot);
    }
};

// Runs each row on a reset record; `read` gives the figures that the row expects.
inline void check_calls(const std::vector<SysfsParamId>& ids, std::initializer_list<CallsRow> rows,
                        Figures (*read)(const BattStat& stat)) {
    for (const CallsRow& row : rows) {
        Battery battery;
        for (const Call& call : row.calls) {
            for (size_t i = 1; i < call.size(); i++) {
                if (ids[i - 1] == MODE) {
                    battery.state.soft_charge_mode = call[i];
                } else {
                    set_param(battery.snapshot, {ids[i - 1], call[i]});
                }
            }
            battery.call(call[0]);
        }
        EXPECT_EQ(read(battery.stat), row.expected) << row.name;
    }
}

}  // namespace cellwarden::test
