// Compares the simulation of years of a phone's life, with all its output, with the time that the C
// library would take for the exponentials of its Arrhenius integral.
//   lifetime_benchmark [YEARS]   default: 1
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "benchmarks/figure.h"
#include "tools/lifetime/run.h"

namespace cellwarden::lifetime {
namespace {

constexpr double LIMIT_OVER_BARE = 0.25;
constexpr uint64_t SEED = 1;

double cpu_time_s() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// Returns the CPU time of an exponential of the C library whose argument is in the model's range.
double c_library_exp_s() {
    constexpr int COUNT = 1'000'000;
    volatile extended sink = 0;
    const double start_s = cpu_time_s();
    for (int i = 0; i < COUNT; i++) {
        sink = benchmark::c_library_exp(3 + 62 * (static_cast<extended>(i) / COUNT));
    }
    (void)sink;
    return (cpu_time_s() - start_s) / COUNT;
}

// Returns how many seconds of the line between two readings differ from the previous second.
uint64_t changes_between(const SoftChargeMemory& from, const SoftChargeMemory& to) {
    const int64_t seconds = int64_t{to.arrhenius_online_time} - from.arrhenius_online_time;
    int64_t previous_temperature = from.arrhenius_temperature_decic;
    int64_t previous_voltage = from.arrhenius_voltage_uv;
    uint64_t changes = 0;
    for (int64_t k = 1; k < seconds; k++) {
        const auto at = [=](int64_t first, int64_t last) {
            return first + k * (last - first) / seconds;
        };
        const int64_t temperature =
            at(from.arrhenius_temperature_decic, to.arrhenius_temperature_decic);
        const int64_t voltage = at(from.arrhenius_voltage_uv, to.arrhenius_voltage_uv);
        changes += temperature != previous_temperature || voltage != previous_voltage ? 1 : 0;
        previous_temperature = temperature;
        previous_voltage = voltage;
    }
    return changes;
}

// Returns the number of exponentials that a life of `profile` needs: one for each second whose
// reading differs from the previous second's.
uint64_t needed_exponentials(const Profile& profile) {
    const CarePolicy policy;
    Life life = begin_life(profile, policy, SEED);
    uint64_t needed = 0;
    while (life.time_s < life_span_s(profile)) {
        const SoftChargeMemory before = life.state.soft_charge;
        live_on(life);
        if (before.arrhenius_online_time != 0) {
            needed += changes_between(before, life.state.soft_charge);
        }
    }
    return needed;
}

int run(double years) {
    Profile profile = load_profile(CELLWARDEN_PROFILE_DIR "/gaming.json");
    profile.years = years;
    std::string directory =
        (std::filesystem::temp_directory_path() / "cellwarden-benchmark-XXXXXX").string();
    if (mkdtemp(directory.data()) == nullptr) {
        throw std::runtime_error(directory + ": " + strerror(errno));
    }
    const std::atomic<int> never = 0;

    const double exp_before_s = c_library_exp_s();
    const double start_s = cpu_time_s();
    (void)run_job({profile, {}, SEED, directory}, never, [](const Life&) {});
    const double life_s = cpu_time_s() - start_s;
    const double exp_s = std::min(exp_before_s, c_library_exp_s());
    std::filesystem::remove_all(directory);

    const auto needed = static_cast<double>(needed_exponentials(profile));
    char name[96];
    (void)snprintf(name, sizeof name, "%g years of life, CPU; limit %g x %.1f million bare C exp",
                   years, LIMIT_OVER_BARE, needed / 1e6);
    return benchmark::report_figure(name, life_s, LIMIT_OVER_BARE * needed * exp_s, "s");
}

}  // namespace
}  // namespace cellwarden::lifetime

int main(int argc, char** argv) {
    return cellwarden::lifetime::run(argc > 1 ? std::atof(argv[1]) : 1);
}
