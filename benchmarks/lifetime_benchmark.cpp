// Years of a phone's life through the simulator, with all its output, against the bare cost of the
// exponentials that the ageing models need on the way, had the C library computed them.
//   lifetime_benchmark [YEARS]   a year where none is given
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <vector>

#include "benchmarks/figure.h"
#include "platform/extended.h"
#include "tools/lifetime/run.h"

using cellwarden::extended;

namespace {

// The C library computes one needed exponential of so many, which is enough to know its time.
constexpr uint64_t MEASURED_SHARE = 8;

uint64_t needed = 0;
std::vector<extended> arguments;

}  // namespace

extern "C" {
// The linker sends the models' calls of extended_exp here.
extended __real__ZN10cellwarden12extended_expEg(extended x);
extended __wrap__ZN10cellwarden12extended_expEg(extended x);

extended __wrap__ZN10cellwarden12extended_expEg(extended x) {
    if (needed++ % MEASURED_SHARE == 0) {
        arguments.push_back(x);
    }
    return __real__ZN10cellwarden12extended_expEg(x);
}
}

namespace cellwarden::lifetime {
namespace {

constexpr double LIMIT_OVER_BARE = 0.25;

double cpu_time_s() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

void evaluate_bare() {
    for (const extended x : arguments) {
        volatile extended kept = benchmark::c_library_exp(x);
        (void)kept;
    }
}

int run(double years) {
    Profile profile = load_profile(CELLWARDEN_PROFILE_DIR "/gaming.json");
    profile.years = years;
    const auto directory = std::filesystem::temp_directory_path() / "cellwarden-lifetime-benchmark";
    const volatile std::sig_atomic_t never = 0;

    arguments.reserve(static_cast<size_t>(SECONDS_PER_DAY));
    double bare_s = 0;
    const double start_s = cpu_time_s();
    (void)run_profile(profile, 1, directory, never, [&](const Life&) {
        const double turn_s = cpu_time_s();
        evaluate_bare();
        bare_s += cpu_time_s() - turn_s;
        arguments.clear();
    });
    const double life_s = cpu_time_s() - start_s - bare_s;
    std::filesystem::remove_all(directory);
    char name[96];
    (void)snprintf(name, sizeof name, "%g years of life, CPU; limit 0.25 x %.1f million C exp",
                   years, static_cast<double>(needed) / 1e6);
    return benchmark::report_figure(
        name, life_s, LIMIT_OVER_BARE * static_cast<double>(MEASURED_SHARE) * bare_s, "s");
}

}  // namespace
}  // namespace cellwarden::lifetime

int main(int argc, char** argv) {
    return cellwarden::lifetime::run(argc > 1 ? atof(argv[1]) : 1);
}
