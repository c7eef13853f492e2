// The charger and its driver: the current into the battery as a function of the power source and of
// the switches that the daemon writes.
#pragma once

#include <cstdint>
#include <string>

#include "phone/battery.h"

namespace cellwarden::phone {

enum class Source { NONE, USB, WIRELESS };

enum class ChargeStatus { DISCHARGING, NOT_CHARGING, CHARGING, FULL };

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
    int ageing_level = 0;             // 0 to 5; each step reduces charging voltage and current

    // Smart charging of the phone's system: charging pauses while the phone shows this charge, in %,
    // or more; 100: not active.
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

// Returns the float voltage in µV: 4.48 V less 20 mV per ageing level.
double float_voltage_uv(const Charger& charger);

// Returns the state of charge at which charging ends, which falls with the ageing level.
double end_of_charge_soc(const Charger& charger, const Battery& battery);

// Returns the maximum charging current in µA: 0.9C of the design capacity, less 5 % per ageing
// level; falls linearly with the thermal level, to a tenth at the highest one; half at 45 °C and
// above; 0 below 0 °C and at 60 °C and above.
double charge_current_limit_ua(const Charger& charger, const Battery& battery);

// Returns whether a source is connected and not suspended.
bool draws_input(const Charger& charger);

// Splits the power of the source between the phone (`load_ua` at battery voltage) and the battery.
// Charging has a constant-current phase, then a constant-voltage phase with
// I = (float voltage - OCV) / R until I falls below 0.05C, which sets `charger.full`. Charging
// restarts when the open-circuit voltage has fallen by 40 mV.
PowerFlow share_power(Charger& charger, const Battery& battery, double load_ua);

}  // namespace cellwarden::phone
