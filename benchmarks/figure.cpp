#include "benchmarks/figure.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <iterator>

#if LDBL_MANT_DIG == 113
#include <cmath>
#else
// Some compilers do not see the library's own declaration.
extern "C" __float128 expf128(__float128 x) noexcept;
#endif

namespace cellwarden::benchmark {
namespace {

double cpu_time_us() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

}  // namespace

std::vector<double> median_cpu_us(const std::vector<std::function<void()>>& functions, int rounds,
                                  int calls) {
    std::vector<std::vector<double>> times(functions.size());
    for (int round = 0; round < rounds; round++) {
        for (size_t i = 0; i < functions.size(); i++) {
            const double start = cpu_time_us();
            for (int call = 0; call < calls; call++) {
                functions[i]();
            }
            times[i].push_back((cpu_time_us() - start) / calls);
        }
    }
    std::vector<double> medians;
    std::ranges::transform(times, std::back_inserter(medians), median);
    return medians;
}

extended c_library_exp(extended x) {
#if LDBL_MANT_DIG == 113
    return expl(x);
#else
    return expf128(x);
#endif
}

int report_figure(const std::string& name, double measured, double limit, const std::string& unit) {
    const bool holds = measured <= limit;
    printf("%-58s %10.1f %10.1f %-3s %6.2f  %s\n", name.c_str(), measured, limit, unit.c_str(),
           measured / limit, holds ? "holds" : "OVER THE LIMIT");
    return holds ? 0 : 1;
}

}  // namespace cellwarden::benchmark
