// The charger and its driver: the current into the battery as a function of the power source and of
// the switches that the daemon writes.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "phone/battery.h"

namespace cellwarden::phone {

enum class Source { NONE, USB, WIRELESS };

enum class ChargeStatus { DISCHARGING, NOT_CHARGING, CHARGING, FULL };

// What the driver does at each ageing level, and in each zone of the battery's temperature: zone i
// is below zone_below_c[i], the last zone is the rest. The zones' borders must rise.
struct DriverSteps {
    double fast_charge_c_rate = 0.9;  // highest charging current, in C of the design capacity

    // By level.
    std::array<double, 6> float_voltage_mv = {4480, 4460, 4440, 4420, 4400, 4380};
    std::array<double, 6> current_share = {1,    0.95, 0.9,
                                           0.85, 0.8,  0.75};  // of the highest current

    // By temperature. A share of 0 stops charging.
    std::array<double, 4> zone_below_c = {0, 15, 45, 60};
    std::array<double, 5> zone_current_share = {0, 1, 1, 0.5, 0};
    std::array<double, 5> zone_voltage_drop_mv = {0, 0, 0, 0,
                                                  0};  // below the level's float voltage
};

struct Charger {
    Source source = Source::NONE;
    std::string type;       // text of the USB type ("PD") or wireless type ("EPP") attribute
    double watts = 0;       // maximum power of the source
    int thermal_level = 0;  // 0 to thermal_level_max; each step reduces the current
    int thermal_level_max = 15;

    // Switches of the driver, written by the daemon.
    bool usb_input_suspend = false;   // USB is disconnected
    bool lrc_input_suspend = false;   // every source is disconnected
    bool lrc_charge_disable = false;  // the source feeds the phone, the battery is not charged
    int ageing_level = 0;             // 0 to 5; `steps` has the charging voltage and current

    DriverSteps steps;

    // Smart charging of the phone's system: charging pauses while the phone shows this charge, in
    // %, or more; 100: not active.
    int smart_stop_percent = 100;

    // Charging has ended; reset when the charge has fallen or the source is removed.
    bool full = false;
};

// Power and current during one step.
struct PowerFlow {
    double battery_ua = 0;       // positive: charging
    double input_w = 0;          // drawn from the source
    bool input_limited = false;  // the source, not the battery, sets the charging current
    ChargeStatus status = ChargeStatus::DISCHARGING;
};

// Returns the float voltage of the ageing level in µV, without the drop of the temperature's zone.
double float_voltage_uv(const Charger& charger);

// Returns the state of charge at which charging ends in a zone without a voltage drop. It depends
// on the ageing level.
double end_of_charge_soc(const Charger& charger, const Battery& battery);

// Returns the maximum charging current in µA: that of the ageing level and of the temperature's
// zone. It falls linearly with the thermal level, to a tenth at the highest one.
double charge_current_limit_ua(const Charger& charger, const Battery& battery);

// Returns whether a source is connected and not suspended.
bool draws_input(const Charger& charger);

// Splits the power of the source between the phone (`load_ua` at battery voltage) and the battery.
// Charging has a constant-current phase, then a constant-voltage phase with
// I = (float voltage - OCV) / R until I falls below 0.05C, which sets `charger.full`. Charging
// restarts when the open-circuit voltage has fallen by 40 mV.
PowerFlow share_power(Charger& charger, const Battery& battery, double load_ua);

}  // namespace cellwarden::phone
