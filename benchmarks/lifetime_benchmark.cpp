// Years of a phone's life through the simulator, with all its output, against the bare cost of the
// exponentials that the ageing models evaluated on the way: the very same arguments, day by day, in
// turns with the life itself.
//   lifetime_benchmark [YEARS]   a tenth of a year where none is given; the claim is about seven
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

std::vector<extended> arguments;

}  // namespace

extern "C" {
// The linker sends the models' calls here.
extended __real_expf128(extended x) noexcept;
extended __wrap_expf128(extended x) noexcept;

extended __wrap_expf128(extended x) noexcept {
    arguments.push_back(x);
    return __real_expf128(x);
}
}

namespace cellwarden::lifetime {
namespace {

constexpr double LIMIT_OVER_BARE = 1.3;

double cpu_time_s() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

void evaluate_bare() {
    for (const extended x : arguments) {
        volatile extended kept = __real_expf128(x);
        (void)kept;
    }
}

int run(double years) {
    Profile profile = load_profile(CELLWARDEN_PROFILE_DIR "/overnight.json");
    profile.years = years;
    const auto directory = std::filesystem::temp_directory_path() / "cellwarden-lifetime-benchmark";
    const std::atomic<int> never = 0;

    arguments.reserve(2 * static_cast<size_t>(SECONDS_PER_DAY));
    double bare_s = 0;
    uint64_t evaluations = 0;
    const double start_s = cpu_time_s();
    (void)run_profile(profile, 1, directory, never, [&](const Life&) {
        const double turn_s = cpu_time_s();
        evaluate_bare();
        bare_s += cpu_time_s() - turn_s;
        evaluations += arguments.size();
        arguments.clear();
    });
    const double life_s = cpu_time_s() - start_s - bare_s;
    std::filesystem::remove_all(directory);
    char name[96];
    (void)snprintf(name, sizeof name, "%g years of life, CPU; limit 1.3 x %.1f million bare exp",
                   years, static_cast<double>(evaluations) / 1e6);
    return benchmark::report_figure(name, life_s, LIMIT_OVER_BARE * bare_s, "s");
}

}  // namespace
}  // namespace cellwarden::lifetime

int main(int argc, char** argv) {
    return cellwarden::lifetime::run(argc > 1 ? atof(argv[1]) : 0.1);
}
