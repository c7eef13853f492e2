// The charger and its driver: what flows into the battery, given what is plugged in and what the
// daemon wrote to the driver's switches.
#pragma once

#include <cstdint>
#include <string>

#include "phone/battery.h"

namespace cellwarden::phone {

enum class Source { NONE, USB, WIRELESS };

enum class ChargeStatus { DISCHARGING, NOT_CHARGING, CHARGING, FULL };

struct Charger {
    Source source = Source::NONE;
    std::string
        type;  // as the USB type attribute ("PD") or the wireless type attribute ("EPP") has it
    double watts = 0;       // what the source can give
    int thermal_level = 0;  // 0 to thermal_level_max; each step takes current away
    int thermal_level_max = 15;

    // Switches that the daemon writes.
    bool usb_input_suspend = false;   // nothing is drawn from USB
    bool lrc_input_suspend = false;   // nothing is drawn from any source
    bool lrc_charge_disable = false;  // the phone runs from the source, the battery rests
    int ageing_level = 0;             // 0 to 5: lowers the charging voltage and current

    bool full = false;  // charging ended; stays until the charge has sunk, or the source is gone
};

// What flows during one step.
struct PowerFlow {
    double battery_ua = 0;       // positive: charging
    double input_w = 0;          // drawn from the source
    bool input_limited = false;  // the source, not the battery, sets the charging current
    ChargeStatus status = ChargeStatus::DISCHARGING;
};

// Highest charging voltage: 4.48 V, and 20 mV less for each ageing level.
double float_voltage_uv(const Charger& charger);

// The state of charge at which charging ends; an ageing level ends it earlier.
double end_of_charge_soc(const Charger& charger, const Battery& battery);

// Highest charging current for a healthy battery temperature: 0.9 C of the design capacity, 5 %
// less for each ageing level, down to a tenth of that at the highest thermal level; half of it from
// 45 °C up, none below 0 °C and from 60 °C up.
double charge_current_limit_ua(const Charger& charger, const Battery& battery);

// Whether the phone draws from its source.
bool draws_input(const Charger& charger);

// Shares the source's power between the phone (`load_ua` at battery voltage) and the battery:
// constant current, then constant voltage as I = (float voltage - OCV) / R, until the current falls
// under 0.05 C; then `charger.full` is set. Charging starts again when the open-circuit voltage has
// sunk by 40 mV.
PowerFlow share_power(Charger& charger, const Battery& battery, double load_ua);

}  // namespace cellwarden::phone
