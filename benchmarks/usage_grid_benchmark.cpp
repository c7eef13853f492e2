// Compares booking a gap of a day into the voltage x temperature grid, while the temperature
// crosses all its bins, with a loop over every second of that day.
#include "benchmarks/figure.h"
#include "charge/grid_line.h"
#include "charge/soft_charge.h"
#include "phone/stand_in.h"

namespace cellwarden {
namespace {

constexpr double TIMES_FASTER = 1000;
constexpr int ROUNDS = 31;
constexpr int CALLS = 20;
constexpr int64_t DAY_S = 86'400;

struct Reading {
    int64_t boot_time;
    int32_t temperature_decic;
    int32_t voltage_uv;
};
constexpr Reading EVENING = {100, 650, 4'350'000};
constexpr Reading NEXT_EVENING = {EVENING.boot_time + DAY_S, -150, 4'310'000};

SysfsParams snapshot_of(const Reading& reading) {
    SysfsParams snapshot;
    snapshot[PARAM_BATTERY_TEMP].value.integer = reading.temperature_decic;
    snapshot[PARAM_BATTERY_VOLTAGE_NOW].value.integer = reading.voltage_uv;
    return snapshot;
}

int64_t between(int32_t from, int32_t to, int64_t second) {
    return from + second * (to - from) / DAY_S;
}

void walk(decltype(UsageState::vt_cet_table)& table) {
    for (int64_t second = 0; second < DAY_S; second++) {
        const int64_t voltage = between(EVENING.voltage_uv, NEXT_EVENING.voltage_uv, second);
        const int64_t temperature =
            between(EVENING.temperature_decic, NEXT_EVENING.temperature_decic, second);
        const size_t row = bin_of(POLICY.bins.voltage_uv, static_cast<int32_t>(voltage));
        const size_t column =
            bin_of(POLICY.bins.temperature_decic, static_cast<int32_t>(temperature));
        table[row * TEMPERATURE_BIN_COUNT + column]++;
    }
}

int run() {
    StandIn phone{.records_effects = false};
    const Device device = device_of(phone);
    ServiceState state;
    state.clock.cycle_boot_time = EVENING.boot_time;
    update_usage_tables(device, state, snapshot_of(EVENING), POLICY.bins);
    const SoftChargeMemory evening = state.soft_charge;
    const SysfsParams next_evening = snapshot_of(NEXT_EVENING);
    state.clock.cycle_boot_time = NEXT_EVENING.boot_time;
    decltype(UsageState::vt_cet_table) walked{};

    const std::vector<double> us =
        benchmark::median_cpu_us({[&] {
                                      state.soft_charge = evening;
                                      update_usage_tables(device, state, next_evening, POLICY.bins);
                                  },
                                  [&] { walk(walked); }},
                                 ROUNDS, CALLS);
    const int holds =
        benchmark::report_figure("a day's gap in the usage grid; limit plain walk / 1000", us[0],
                                 us[1] / TIMES_FASTER, "us");
    return walked == state.usage.vt_cet_table ? holds : 1;
}

}  // namespace
}  // namespace cellwarden

int main() {
    return cellwarden::run();
}
