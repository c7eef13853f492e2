// Measuring and printing for all benchmarks.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "numbers/extended.h"

namespace cellwarden::benchmark {

// Returns the CPU time in us per call of each function: the median of `rounds` rounds, each with
// `calls` calls of every function. The functions alternate, so that other load on the machine
// affects all of them.
std::vector<double> median_cpu_us(const std::vector<std::function<void()>>& functions, int rounds,
                                  int calls);

// Returns the C library's exponential, of the same precision.
extended c_library_exp(extended x);

// Prints one row of the table. Returns the exit code of the program: 0 if the limit holds, else 1.
int report_figure(const std::string& name, double measured, double limit, const std::string& unit);

}  // namespace cellwarden::benchmark
