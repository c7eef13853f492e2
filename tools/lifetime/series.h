// The time series of a run: what a battery engineer plots.
#pragma once

#include <cstdint>
#include <cstdio>

#include "tools/lifetime/life.h"

namespace cellwarden::lifetime {

struct Series {
    FILE* file;
    int64_t row_due_s;  // time of the life at which the next row is written
    // Of the cycles since the latest row.
    double temp_sum_c = 0;
    double temp_min_c = 0;
    double temp_max_c = 0;
    double voltage_max_v = 0;
    uint64_t cycles = 0;
};

// Writes the names of the columns.
Series begin_series(FILE* file);

// Takes one step of the life in; writes a row at the first step of each day. A row shows the day
// before it: battery temperatures in degC and the highest voltage over its steps, everything else
// as it stands. States of health and losses are in per cent of the design capacity.
void follow_life(Series& series, const Life& life);

}  // namespace cellwarden::lifetime
