// Years of a phone's life through the simulator, with all its output, against the bare cost of the
// exponentials of its Arrhenius integral: one for each second of online time.
//   lifetime_benchmark [YEARS]   a tenth of a year where none is given; the claim is about seven
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>

#include "benchmarks/figure.h"
#include "platform/extended.h"
#include "tools/lifetime/run.h"

namespace cellwarden::lifetime {
namespace {

constexpr double LIMIT_OVER_BARE = 0.9;

double cpu_time_s() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// CPU time of one exponential whose argument lies in the model's range.
double bare_exp_s() {
    constexpr int COUNT = 1'000'000;
    volatile extended sink = 0;
    const double start_s = cpu_time_s();
    for (int i = 0; i < COUNT; i++) {
        sink = extended_exp(3 + 62 * (static_cast<extended>(i) / COUNT));
    }
    (void)sink;
    return (cpu_time_s() - start_s) / COUNT;
}

int run(double years) {
    Profile profile = load_profile(CELLWARDEN_PROFILE_DIR "/overnight.json");
    profile.years = years;
    const auto directory = std::filesystem::temp_directory_path() / "cellwarden-lifetime-benchmark";
    const std::atomic<int> never = 0;

    int32_t seconds = 0;
    double exp_s = bare_exp_s();
    const double start_s = cpu_time_s();
    (void)run_profile(profile, 1, directory, never,
                      [&](const Life& life) { seconds = life.state.online_time; });
    const double life_s = cpu_time_s() - start_s;
    exp_s = std::min(exp_s, bare_exp_s());
    std::filesystem::remove_all(directory);
    char name[96];
    (void)snprintf(name, sizeof name, "%g years of life, CPU; limit %g x %.1f million bare exp",
                   years, LIMIT_OVER_BARE, seconds / 1e6);
    return benchmark::report_figure(name, life_s, LIMIT_OVER_BARE * seconds * exp_s, "s");
}

}  // namespace
}  // namespace cellwarden::lifetime

int main(int argc, char** argv) {
    return cellwarden::lifetime::run(argc > 1 ? atof(argv[1]) : 0.1);
}
