#include "phone/battery.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace cellwarden::phone {
namespace {

constexpr double THERMAL_RESISTANCE_K_PER_W = 8;
constexpr double HEAT_CAPACITY_J_PER_K = 100;

struct VoltagePoint {
    double soc;
    double voltage_uv;
};

constexpr VoltagePoint open_circuit_points[] = {
    {0.00, 3'300'000}, {0.02, 3'500'000}, {0.05, 3'620'000}, {0.10, 3'680'000}, {0.20, 3'740'000},
    {0.30, 3'780'000}, {0.40, 3'820'000}, {0.50, 3'880'000}, {0.60, 3'970'000}, {0.70, 4'080'000},
    {0.80, 4'200'000}, {0.90, 4'330'000}, {1.00, 4'470'000},
};

}  // namespace

double charge_full_uah(const Battery& battery) {
    return battery.charge_full_design_uah * battery.state_of_health;
}

double open_circuit_uv(double soc) {
    soc = std::clamp(soc, 0.0, 1.0);
    const auto* upper = std::find_if(std::next(std::begin(open_circuit_points)),
                                     std::prev(std::end(open_circuit_points)),
                                     [soc](const VoltagePoint& point) { return soc <= point.soc; });
    const auto* lower = std::prev(upper);
    const double share = (soc - lower->soc) / (upper->soc - lower->soc);
    return std::lerp(lower->voltage_uv, upper->voltage_uv, share);
}

double soc_at_open_circuit(double voltage_uv) {
    const auto* upper = std::find_if(
        std::next(std::begin(open_circuit_points)), std::prev(std::end(open_circuit_points)),
        [voltage_uv](const VoltagePoint& point) { return voltage_uv <= point.voltage_uv; });
    const auto* lower = std::prev(upper);
    const double share = (voltage_uv - lower->voltage_uv) / (upper->voltage_uv - lower->voltage_uv);
    return std::clamp(std::lerp(lower->soc, upper->soc, share), 0.0, 1.0);
}

double terminal_uv(const Battery& battery) {
    return open_circuit_uv(battery.soc) + battery.current_ua * battery.resistance_mohm / 1e3;
}

void advance_battery(Battery& battery, double current_ua, double ambient_c, double other_heat_w,
                     double seconds) {
    const double charge_uah = current_ua * seconds / 3600;
    battery.current_ua = current_ua;
    battery.soc = std::clamp(battery.soc + charge_uah / charge_full_uah(battery), 0.0, 1.0);

    const double current_a = current_ua / 1e6;
    const double heat_w = current_a * current_a * battery.resistance_mohm / 1e3 + other_heat_w;
    const double settled_c = ambient_c + heat_w * THERMAL_RESISTANCE_K_PER_W;
    const double time_constant_s = THERMAL_RESISTANCE_K_PER_W * HEAT_CAPACITY_J_PER_K;
    battery.temp_c += (settled_c - battery.temp_c) * (1 - std::exp(-seconds / time_constant_s));
}

}  // namespace cellwarden::phone
