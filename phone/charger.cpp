#include "phone/charger.h"

#include <algorithm>

namespace cellwarden::phone {
namespace {

constexpr double USB_EFFICIENCY = 0.90;
constexpr double WIRELESS_EFFICIENCY = 0.75;
constexpr double END_OF_CHARGE_C_RATE = 0.05;
// Fall of the open-circuit voltage before charging restarts.
constexpr double RECHARGE_SAG_UV = 40'000;

size_t zone_of(const Charger& charger, const Battery& battery) {
    const auto& borders = charger.steps.zone_below_c;
    return static_cast<size_t>(std::upper_bound(borders.begin(), borders.end(), battery.temp_c) -
                               borders.begin());
}

size_t level_of(const Charger& charger) {
    return static_cast<size_t>(charger.ageing_level);
}

// Returns the voltage between the float voltage at this temperature and the open-circuit voltage.
double headroom_uv(const Charger& charger, const Battery& battery) {
    return float_voltage_uv(charger) -
           charger.steps.zone_voltage_drop_mv[zone_of(charger, battery)] * 1e3 -
           open_circuit_uv(battery.soc);
}

double available_w(const Charger& charger) {
    if (!draws_input(charger)) {
        return 0;
    }
    return charger.watts * (charger.source == Source::USB ? USB_EFFICIENCY : WIRELESS_EFFICIENCY);
}

// Returns the highest charging current, in µA, at the float voltage.
double voltage_limited_ua(const Charger& charger, const Battery& battery) {
    return std::max(0.0, headroom_uv(charger, battery) / battery.resistance_mohm * 1e3);
}

double end_of_charge_ua(const Battery& battery) {
    return END_OF_CHARGE_C_RATE * battery.charge_full_design_uah;
}

void update_full(Charger& charger, const Battery& battery, double wanted_ua) {
    const double end_ua = end_of_charge_ua(battery);
    if (charger.full) {
        charger.full = headroom_uv(charger, battery) <
                       end_ua * battery.resistance_mohm / 1e3 + RECHARGE_SAG_UV;
    } else {
        charger.full = wanted_ua < end_ua && voltage_limited_ua(charger, battery) <= wanted_ua;
    }
}

bool is_held_by_smart_charging(const Charger& charger, const Battery& battery) {
    return charger.smart_stop_percent < 100 &&
           battery.soc * 100 >= charger.smart_stop_percent * end_of_charge_soc(charger, battery);
}

}  // namespace

double float_voltage_uv(const Charger& charger) {
    return charger.steps.float_voltage_mv[level_of(charger)] * 1e3;
}

double end_of_charge_soc(const Charger& charger, const Battery& battery) {
    const double drop_uv = end_of_charge_ua(battery) * battery.resistance_mohm / 1e3;
    return soc_at_open_circuit(float_voltage_uv(charger) - drop_uv);
}

double charge_current_limit_ua(const Charger& charger, const Battery& battery) {
    const DriverSteps& steps = charger.steps;
    const double thermal_share = 1 - 0.9 * charger.thermal_level / charger.thermal_level_max;
    return steps.fast_charge_c_rate * battery.charge_full_design_uah *
           steps.current_share[level_of(charger)] * thermal_share *
           steps.zone_current_share[zone_of(charger, battery)];
}

bool draws_input(const Charger& charger) {
    return charger.source != Source::NONE && !charger.lrc_input_suspend &&
           !(charger.source == Source::USB && charger.usb_input_suspend);
}

PowerFlow share_power(Charger& charger, const Battery& battery, double load_ua) {
    PowerFlow flow;
    const double battery_v = open_circuit_uv(battery.soc) / 1e6;
    const double spare_ua = available_w(charger) / battery_v * 1e6 - load_ua;
    if (!draws_input(charger)) {
        charger.full = false;
        flow.battery_ua = -load_ua;
        return flow;
    }

    const double wanted_ua =
        std::min(charge_current_limit_ua(charger, battery), voltage_limited_ua(charger, battery));
    update_full(charger, battery, wanted_ua);
    const bool charging = !charger.full && !charger.lrc_charge_disable && wanted_ua > 0 &&
                          !is_held_by_smart_charging(charger, battery);
    flow.battery_ua = std::min(charging ? wanted_ua : 0.0, spare_ua);
    flow.input_limited = charging && spare_ua < wanted_ua;
    flow.input_w = std::min(charger.watts, charger.watts / available_w(charger) *
                                               (flow.battery_ua + load_ua) / 1e6 * battery_v);
    if (charger.full) {
        flow.status = ChargeStatus::FULL;
    } else {
        flow.status = charging ? ChargeStatus::CHARGING : ChargeStatus::NOT_CHARGING;
    }
    return flow;
}

}  // namespace cellwarden::phone
