// What every benchmark measures with and prints.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "numbers/extended.h"

namespace cellwarden::benchmark {

// CPU time in us that one call of each function takes: the median over `rounds` rounds, in each of
// which every function is called `calls` times. The functions take turns, so that what else the
// machine does falls on all of them.
std::vector<double> median_cpu_us(const std::vector<std::function<void()>>& functions, int rounds,
                                  int calls);

// The C library's exponential of the same precision.
extended c_library_exp(extended x);

// Prints one row of the table of figures. Returns the program's exit code: 0 where the limit holds.
int report_figure(const std::string& name, double measured, double limit, const std::string& unit);

}  // namespace cellwarden::benchmark
