// Compares the Arrhenius integral over an hour of ordinary use with a loop of only the exponentials
// of this hour, computed by the C library: one for each second whose reading differs from the
// previous second's.
#include <random>

#include "benchmarks/figure.h"
#include "charge/ageing_models.h"
#include "charge/arrhenius_rate.h"

namespace cellwarden {
namespace {

constexpr const ArrheniusConstants& ARRHENIUS = POLICY.arrhenius;
constexpr double LIMIT_OVER_BARE_LOOP = 0.2;
constexpr int ROUNDS = 301;
constexpr int32_t HOUR_S = 3600;

struct Reading {
    int32_t online_time;
    int32_t temperature_decic;
    int32_t voltage_uv;
};

// A reading every 10 to 60 s: the voltage changes by some millivolts, so that it differs nearly
// every second, and the temperature by some tenths of a degree.
std::vector<Reading> make_hour() {
    std::mt19937 random(20261123);
    const auto between = [&](int32_t low, int32_t high) {
        return low + static_cast<int32_t>(random() % static_cast<uint32_t>(high - low + 1));
    };
    std::vector<Reading> hour = {{1, 280, 4'000'000}};
    while (hour.back().online_time < HOUR_S) {
        Reading next = hour.back();
        next.online_time += between(10, 60);
        next.temperature_decic = std::clamp(next.temperature_decic + between(-3, 3), 200, 420);
        next.voltage_uv =
            std::clamp(next.voltage_uv + between(-15'000, 15'000), 3'500'000, 4'470'000);
        hour.push_back(next);
    }
    return hour;
}

SysfsParams snapshot_of(const Reading& reading) {
    SysfsParams snapshot;
    snapshot[PARAM_BATTERY_TEMP].value.integer = reading.temperature_decic;
    snapshot[PARAM_BATTERY_VOLTAGE_NOW].value.integer = reading.voltage_uv;
    return snapshot;
}

// The arguments of the exponential, one for each second.
std::vector<extended> needed_arguments(const std::vector<Reading>& hour) {
    std::vector<extended> arguments;
    int64_t previous_temperature = INT64_MIN;
    int64_t previous_voltage = 0;
    for (size_t i = 1; i < hour.size(); i++) {
        const Reading& from = hour[i - 1];
        const int64_t seconds = hour[i].online_time - from.online_time;
        for (int64_t k = 0; k < seconds; k++) {
            const int64_t temperature =
                from.temperature_decic +
                k * (hour[i].temperature_decic - from.temperature_decic) / seconds;
            const int64_t voltage =
                from.voltage_uv + k * (hour[i].voltage_uv - from.voltage_uv) / seconds;
            if (temperature == previous_temperature && voltage == previous_voltage) {
                continue;
            }
            previous_temperature = temperature;
            previous_voltage = voltage;
            const extended volts = static_cast<extended>(voltage) / 1'000'000;
            const extended temperature_term =
                ARRHENIUS.activation_k *
                (1 / (static_cast<extended>(temperature) / 10 + KELVIN_OFFSET));
            const extended voltage_term =
                voltage <= ARRHENIUS.knee_uv ? ARRHENIUS.low_offset + ARRHENIUS.low_slope * volts
                                             : ARRHENIUS.high_offset + ARRHENIUS.high_slope * volts;
            arguments.push_back((temperature_term + voltage_term) + ARRHENIUS.offset);
        }
    }
    return arguments;
}

int run() {
    const std::vector<Reading> hour = make_hour();
    std::vector<SysfsParams> snapshots;
    for (const Reading& reading : hour) {
        snapshots.push_back(snapshot_of(reading));
    }
    const std::vector<extended> arguments = needed_arguments(hour);
    volatile extended sink = 0;
    ServiceState state;
    const auto integrate = [&] {
        state.soft_charge = {};
        for (size_t i = 0; i < hour.size(); i++) {
            state.usage.online_time = hour[i].online_time;
            update_arrhenius(state, snapshots[i], POLICY);
        }
        sink = state.ageing.total_arrhenius;
    };
    const auto bare_loop = [&] {
        for (const extended argument : arguments) {
            sink = benchmark::c_library_exp(argument);
        }
    };
    const std::vector<double> us = benchmark::median_cpu_us({integrate, bare_loop}, ROUNDS, 1);
    return benchmark::report_figure("an hour's Arrhenius integral, CPU; limit 0.2 x bare C exps",
                                    us[0], LIMIT_OVER_BARE_LOOP * us[1], "us");
}

}  // namespace
}  // namespace cellwarden

int main() {
    return cellwarden::run();
}
