// The time series of a run as CSV, for plotting.
#pragma once

#include <cstdint>
#include <cstdio>

#include "tools/lifetime/life.h"

namespace cellwarden::lifetime {

struct Series {
    FILE* file;
    int64_t row_due_s;  // time of the next row, since midnight of the first day
    // Statistics of the cycles since the latest row.
    double temp_sum_c = 0;
    double temp_min_c = 0;
    double temp_max_c = 0;
    double voltage_max_v = 0;
    uint64_t cycles = 0;
};

// Writes the names of the columns. Returns the series.
Series begin_series(FILE* file);

// Call it after each step of the life. Writes a row at the first step of each day, with battery
// temperatures in degC and the highest voltage of the previous day; all other columns are current
// values. States of health and losses are in % of the design capacity.
void follow_life(Series& series, const Life& life);

}  // namespace cellwarden::lifetime
